// Private files over POSIX calls under their contract, and what a full or forbidden disk does.
#include "platform/posix/PosixPrivateFiles.h"

#include "tests/platform/services/PrivateFilesContract.h"
#include "tests/platform/services/ThreadCosts.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

namespace {

std::unique_ptr<platform::PrivateFiles> posixPrivateFiles() {
    return std::make_unique<platform::PosixPrivateFiles>();
}

INSTANTIATE_TEST_SUITE_P(Posix, PrivateFilesContract, testing::Values(posixPrivateFiles));

// Files of this process cannot grow beyond the size meanwhile, as on a disk that is full.
class ScopedFileLimit {
  public:
    explicit ScopedFileLimit(rlim_t bytes)
        : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit lower{.rlim_cur = bytes, .rlim_max = before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &lower);
    }
    ScopedFileLimit(const ScopedFileLimit&) = delete;
    ScopedFileLimit& operator=(const ScopedFileLimit&) = delete;
    ~ScopedFileLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

  private:
    void (*handler_)(int);
    rlimit before_{};
};

// An ordinary user's rights while it lives, whoever runs the test.
class ScopedOrdinaryUser {
  public:
    explicit ScopedOrdinaryUser(const std::filesystem::path& home) {
        constexpr uid_t nobody = 65534;
        if (::geteuid() == 0) {
            EXPECT_EQ(::chown(home.c_str(), nobody, static_cast<gid_t>(-1)), 0);
            wasRoot_ = ::seteuid(nobody) == 0;
            EXPECT_TRUE(wasRoot_);
        }
    }
    ScopedOrdinaryUser(const ScopedOrdinaryUser&) = delete;
    ScopedOrdinaryUser& operator=(const ScopedOrdinaryUser&) = delete;
    ~ScopedOrdinaryUser() {
        if (wasRoot_) {
            EXPECT_EQ(::seteuid(0), 0);
        }
    }

  private:
    bool wasRoot_ = false;
};

TEST(PosixPrivateFiles, keepsTheOldFileWhenTheDiskIsFull) {
    const test_support::TemporaryFolder root;
    platform::PosixPrivateFiles files;
    ASSERT_TRUE(files.replace(root / "file", "old"));
    {
        const ScopedFileLimit full(4096);
        const auto replaced = files.replace(root / "file", std::string(100'000, 'x'));
        ASSERT_FALSE(replaced);
        EXPECT_EQ(replaced.error().errnoValue, EFBIG);
    }
    EXPECT_EQ(readText(root / "file"), "old");
    EXPECT_THAT(namesIn(root.path()), testing::ElementsAre("file"));
}

TEST(PosixPrivateFiles, changesNothingInAFolderThatCannotBeWritten) {
    const test_support::TemporaryFolder root;
    writeText(root / "file", "old");
    const ScopedOrdinaryUser user(root.path());
    ASSERT_EQ(::chmod(root.path().c_str(), 0500), 0);
    platform::PosixPrivateFiles files;
    EXPECT_EQ(files.replace(root / "file", "new").error().errnoValue, EACCES);
    EXPECT_EQ(files.replace(root / "other", "new").error().errnoValue, EACCES);
    EXPECT_EQ(files.remove(root / "file").error().errnoValue, EACCES);
    EXPECT_EQ(files.move(root / "file", root / "other").error().errnoValue, EACCES);
    EXPECT_EQ(readText(root / "file"), "old");
    EXPECT_THAT(namesIn(root.path()), testing::ElementsAre("file"));
    ASSERT_EQ(::chmod(root.path().c_str(), 0700), 0);
}

TEST(PosixPrivateFiles, leavesNoDescriptorOpen) {
    const test_support::TemporaryFolder root;
    platform::PosixPrivateFiles files;
    const auto before = openDescriptors();
    EXPECT_TRUE(files.replace(root / "file", "text"));
    EXPECT_FALSE(files.replace(root / "absent/file", "text"));
    EXPECT_TRUE(files.read(root / "file", 10));
    EXPECT_TRUE(files.move(root / "file", root / "moved"));
    EXPECT_FALSE(files.move(root / "file", root / "again"));
    EXPECT_EQ(openDescriptors(), before);
}

} // namespace
