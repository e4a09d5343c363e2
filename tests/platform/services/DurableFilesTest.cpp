// Durable files under their contract, and what only the real file system shows.
#include "platform/testing/InMemoryDurableFiles.h"
#include "tests/platform/services/DurableFilesSubjects.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/platform/services/Sha256Contract.h"

#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace {

using platform::PosixDurableFiles;
using platform::testing::InMemoryDurableFiles;

class InMemorySubject final : public DurableFilesSubject {
  public:
    InMemorySubject() { files_.nodes["/work"] = {.kind = InMemoryDurableFiles::Kind::folder}; }
    [[nodiscard]] platform::DurableFiles& files() override { return files_; }
    [[nodiscard]] std::filesystem::path folder() const override { return "/work"; }
    void makeLink(const std::filesystem::path& path) override {
        files_.nodes[path] = {.kind = InMemoryDurableFiles::Kind::link};
    }
    void setMode(const std::filesystem::path& path, unsigned mode) override {
        files_.nodes.at(path).mode = mode;
    }
    [[nodiscard]] unsigned modeOf(const std::filesystem::path& path) const override {
        return files_.nodes.at(path).mode;
    }

  private:
    InMemoryDurableFiles files_;
};

std::unique_ptr<DurableFilesSubject> posixDurableFiles() {
    return std::make_unique<PosixDurableFilesSubject>();
}
std::unique_ptr<DurableFilesSubject> inMemoryDurableFiles() {
    return std::make_unique<InMemorySubject>();
}

INSTANTIATE_TEST_SUITE_P(Posix, DurableFilesContract, testing::Values(posixDurableFiles));
INSTANTIATE_TEST_SUITE_P(InMemory, DurableFilesContract, testing::Values(inMemoryDurableFiles));

class PosixDurableFilesTest : public testing::Test {
  protected:
    test_support::TemporaryFolder folder;
    PosixDurableFiles files;
};

TEST_F(PosixDurableFilesTest, lendsNoBitToTheFileCreationMask) {
    const ScopedMask mask(0777);
    ASSERT_TRUE(files.ensurePrivateFolder(folder / "a/b"));
    ASSERT_TRUE(files.createPrivateFile(folder / "a/b/file"));
    EXPECT_EQ(modeOf(folder / "a"), 0700U);
    EXPECT_EQ(modeOf(folder / "a/b"), 0700U);
    EXPECT_EQ(modeOf(folder / "a/b/file"), 0600U);
}

TEST_F(PosixDurableFilesTest, leavesTheFoldersAboveAsTheyAre) {
    ASSERT_TRUE(files.ensurePrivateFolder(folder / "a"));
    std::filesystem::permissions(folder / "a", std::filesystem::perms(0755));
    ASSERT_TRUE(files.ensurePrivateFolder(folder / "a/b"));
    EXPECT_EQ(modeOf(folder / "a"), 0755U);
}

TEST_F(PosixDurableFilesTest, goesThroughALinkAboveTheFolder) {
    std::filesystem::create_directory(folder / "real");
    std::filesystem::create_directory_symlink("real", folder / "link");
    ASSERT_TRUE(files.ensurePrivateFolder(folder / "link/b"));
    EXPECT_TRUE(std::filesystem::is_directory(folder / "real/b"));
}

TEST_F(PosixDurableFilesTest, takesNoDanglingLinkForAFolder) {
    std::filesystem::create_symlink("nowhere", folder / "link");
    for (const auto* name : {"link", "link/.", "link//"}) {
        const auto ensured = files.ensurePrivateFolder(folder / name);
        ASSERT_FALSE(ensured) << name;
        EXPECT_EQ(ensured.error().errnoValue, ENOTDIR) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "nowhere"));
}

TEST_F(PosixDurableFilesTest, refusesAPipeWithoutWaitingForAWriter) {
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    const auto content = files.read(folder / "pipe", 100);
    ASSERT_FALSE(content);
    EXPECT_EQ(content.error().errnoValue, EINVAL);
    EXPECT_THAT(files.fileNames(folder.path()).value(), testing::IsEmpty());
}

TEST_F(PosixDurableFilesTest, leavesNoDescriptorOpen) {
    const auto openDescriptors = [] { return namesIn("/proc/self/fd").size(); };
    const auto before = openDescriptors();
    ASSERT_TRUE(files.ensurePrivateFolder(folder / "a"));
    {
        const auto file = files.createPrivateFile(folder / "a/file");
        ASSERT_TRUE(file);
        const auto lock = files.lockFolder(folder.path());
        ASSERT_TRUE(lock);
    }
    EXPECT_TRUE(files.flushFolder(folder.path()));
    EXPECT_TRUE(files.fileNames(folder.path()));
    EXPECT_TRUE(files.read(folder / "a/file", 10));
    EXPECT_FALSE(files.read(folder / "a", 10));
    EXPECT_FALSE(files.ensurePrivateFolder(folder / "a/file"));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(PosixDurableFilesTest, aLockedFolderMakesTheNextOneWait) {
    std::atomic<int> holders = 0;
    std::atomic<int> most = 0;
    const auto takeTurns = [&] {
        for (int turn = 0; turn < 50; ++turn) {
            const auto lock = files.lockFolder(folder.path());
            ASSERT_TRUE(lock);
            most = std::max(most.load(), ++holders);
            std::this_thread::yield();
            --holders;
        }
    };
    std::thread other(takeTurns);
    takeTurns();
    other.join();
    EXPECT_EQ(most, 1);
}

TEST_F(PosixDurableFilesTest, aChildThatInheritedTheDescriptorDoesNotKeepTheFolderLocked) {
    int hold[2] = {-1, -1};
    ASSERT_EQ(::pipe(hold), 0);
    pid_t child = -1;
    {
        const auto lock = files.lockFolder(folder.path());
        ASSERT_TRUE(lock);
        child = ::fork();
        if (child == 0) {
            char byte = 0;
            ::close(hold[1]);
            ::_exit(static_cast<int>(::read(hold[0], &byte, 1)));
        }
    }
    const int open = ::open(folder.path().c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(::flock(open, LOCK_EX | LOCK_NB), 0);
    ::close(open);
    ::close(hold[0]);
    ::close(hold[1]);
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
}

TEST(InMemoryDurableFiles, failsWhereItIsTold) {
    InMemoryDurableFiles files;
    files.fault = [](std::string_view operation, const std::filesystem::path&) {
        return operation == "flush" ? EIO : 0;
    };
    const auto file = files.createPrivateFile("/file");
    ASSERT_TRUE(file);
    EXPECT_TRUE((*file)->writeAll("text"));
    EXPECT_EQ((*file)->flush().error().errnoValue, EIO);
    EXPECT_FALSE(files.nodes.at("/file").flushed);
    EXPECT_THAT(files.operations,
                testing::ElementsAre("create /file", "write /file", "flush /file"));
}

} // namespace
