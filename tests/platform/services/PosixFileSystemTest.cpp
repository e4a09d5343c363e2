// The POSIX back end under the file contract, and the helpers beside it.
#include "platform/posix/PosixFileSystem.h"

#include "platform/ErrnoText.h"
#include "platform/posix/ReadFile.h"
#include "platform/posix/ReplaceFile.h"
#include "platform/posix/UniqueFd.h"
#include "tests/platform/services/FilesContract.h"
#include "tests/platform/services/ThreadCosts.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using platform::posix::readFile;
using platform::posix::replaceFile;
using testing::ElementsAre;

std::unique_ptr<platform::FileSystem> posixFileSystem(const std::filesystem::path& supportFolder) {
    return std::make_unique<platform::PosixFileSystem>(supportFolder);
}

INSTANTIATE_TEST_SUITE_P(Posix, FilesContract, testing::Values(posixFileSystem));

TEST(PosixFileSystem, hasNoCurrentFolderOnceItWasRemoved) {
    const auto before = std::filesystem::current_path();
    {
        const test_support::TemporaryFolder doomed;
        std::filesystem::current_path(doomed.path());
    }
    const platform::PosixFileSystem files("/nowhere");
    EXPECT_EQ(files.currentFolder(), std::filesystem::path());
    std::filesystem::current_path(before);
}

TEST(PosixFileSystem, createsFoldersBelowTheCurrentOne) {
    const test_support::TemporaryFolder here;
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(here.path());
    platform::PosixFileSystem files("/nowhere");
    EXPECT_TRUE(files.createFolders("relative/path", 0700));
    std::filesystem::current_path(before);
    EXPECT_TRUE(std::filesystem::is_directory(here / "relative/path"));
}

TEST(PosixFileSystem, namesAFileWhoseNameIsNotUtf8) {
    const test_support::TemporaryFolder root;
    writeText(root / "\xff raw", "");
    const platform::PosixFileSystem files("/nowhere");
    EXPECT_EQ(files.fileNames(root.path()), std::vector<std::string>{"\xff raw"});
}

TEST(PosixFileSystem, leavesNoDescriptorOpen) {
    const test_support::TemporaryFolder root;
    platform::PosixFileSystem files(root / "support");
    const auto before = openDescriptors();
    EXPECT_TRUE(files.createFolders(root / "a/b", 0700));
    EXPECT_TRUE(files.fileNames(root.path()));
    EXPECT_FALSE(files.fileNames(root / "absent"));
    EXPECT_TRUE(replaceFile(root / "file", "text"));
    EXPECT_FALSE(replaceFile(root / "a", "text"));
    EXPECT_TRUE(readFile(root / "file", 100));
    EXPECT_EQ(openDescriptors(), before);
}

TEST(ErrnoText, namesKnownValuesAndNumbersUnknownOnes) {
    EXPECT_EQ(platform::errnoText(EACCES), "Permission denied");
    EXPECT_EQ(platform::errnoText(99999), "Unknown error 99999");
}

TEST(ReadFile, readsUpToItsBoundAndRefusesMore) {
    const test_support::TemporaryFolder root;
    writeText(root / "file", std::string("ab\0c", 4));
    EXPECT_EQ(readFile(root / "file", 4), std::string("ab\0c", 4));
    EXPECT_EQ(readFile(root / "file", 3), std::unexpected(EFBIG));
    writeText(root / "file", "");
    EXPECT_EQ(readFile(root / "file", 0), "");
}

TEST(ReadFile, refusesWhatIsNoFileWithoutBlocking) {
    const test_support::TemporaryFolder root;
    ASSERT_EQ(::mkfifo((root / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(readFile(root / "pipe", 10), std::unexpected(EINVAL));
    EXPECT_EQ(readFile(root.path(), 10), std::unexpected(EISDIR));
    EXPECT_EQ(readFile("/dev/zero", 10), std::unexpected(EINVAL));
    EXPECT_EQ(readFile(root / "absent", 10), std::unexpected(ENOENT));
}

TEST(ReadFile, readsFilesWhoseSizeTheSystemDoesNotTell) {
    const auto status = readFile("/proc/self/status", 100'000);
    ASSERT_TRUE(status);
    EXPECT_THAT(*status, testing::StartsWith("Name:"));
    EXPECT_EQ(readFile("/proc/self/status", 10), std::unexpected(EFBIG));
}

TEST(ReplaceFile, isPrivateFromTheStartAndLeavesNothingBeside) {
    const test_support::TemporaryFolder root;
    for (const mode_t mask : {0000U, 0777U}) {
        const ScopedMask scoped(mask);
        ASSERT_TRUE(replaceFile(root / "file", "new"));
        EXPECT_EQ(modeOf(root / "file"), 0600U);
    }
    EXPECT_EQ(readText(root / "file"), "new");
    EXPECT_THAT(namesIn(root.path()), ElementsAre("file"));
}

TEST(ReplaceFile, leavesTheOldThingWhenItCannotReplaceIt) {
    const test_support::TemporaryFolder root;
    std::filesystem::create_directories(root / "folder/full");
    EXPECT_EQ(replaceFile(root / "folder", "text"), std::unexpected(EISDIR));
    EXPECT_EQ(replaceFile(root / "absent/file", "text"), std::unexpected(ENOENT));
    EXPECT_THAT(namesIn(root.path()), ElementsAre("folder"));
}

TEST(ReplaceFile, replacesALinkInTheFilesPlaceInsteadOfFollowingIt) {
    const test_support::TemporaryFolder root;
    writeText(root / "victim", "precious");
    std::filesystem::create_symlink("victim", root / "file");
    ASSERT_TRUE(replaceFile(root / "file", "text"));
    EXPECT_EQ(readText(root / "victim"), "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(root / "file"));
    EXPECT_EQ(modeOf(root / "file"), 0600U);
}

TEST(ReplaceFile, tightensAFileThatWasReadableByOthers) {
    const test_support::TemporaryFolder root;
    writeText(root / "file", "old");
    std::filesystem::permissions(root / "file", std::filesystem::perms::all);
    ASSERT_TRUE(replaceFile(root / "file", "new"));
    EXPECT_EQ(modeOf(root / "file"), 0600U);
}

TEST(ReplaceFile, takesTheLongestNameThereIs) {
    const test_support::TemporaryFolder root;
    ASSERT_TRUE(replaceFile(root / std::string(255, 'n'), "text"));
    EXPECT_EQ(replaceFile(root / std::string(256, 'n'), "text"), std::unexpected(ENAMETOOLONG));
    EXPECT_THAT(namesIn(root.path()), ElementsAre(std::string(255, 'n')));
}

TEST(ReplaceFile, clearsAwayWhatACrashLeftButNotWhatSomebodyWrites) {
    const test_support::TemporaryFolder root;
    const std::string left = ".new-0123456789abcdef0123456789abcdef";
    const std::string inUse = ".new-1123456789abcdef0123456789abcdef";
    const std::string folder = ".new-2123456789abcdef0123456789abcdef";
    writeText(root / left, "half writ");
    writeText(root / inUse, "being written");
    std::filesystem::create_directory(root / folder);
    const platform::posix::UniqueFd held(::open((root / inUse).c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(held.get(), LOCK_EX), 0);
    ASSERT_TRUE(replaceFile(root / "file", "text"));
    EXPECT_THAT(namesIn(root.path()), ElementsAre(inUse, folder, "file"));
}

TEST(ReplaceFile, leavesEveryNameThatIsNotExactlyOneOfItsOwn) {
    const std::vector<std::string> others = {".new-",
                                             ".new-1-1",
                                             ".new-cache",
                                             ".new-0123456789abcdef0123456789abcde",
                                             ".new-0123456789ABCDEF0123456789abcdef",
                                             ".new-0123456789abcdef0123456789abcdef0",
                                             "new-0123456789abcdef0123456789abcdef"};
    for (const std::string& name : others) {
        const test_support::TemporaryFolder root;
        writeText(root / name, "somebody's");
        ASSERT_TRUE(replaceFile(root / "file", "text"));
        EXPECT_EQ(readText(root / name), "somebody's") << name;
    }
}

TEST(ReplaceFile, leavesTheContentOfOneOfManyWriters) {
    const test_support::TemporaryFolder root;
    constexpr std::size_t size = 100'000;
    std::vector<std::thread> writers;
    for (const char letter : {'a', 'b', 'c', 'd'}) {
        writers.emplace_back([&root, letter] {
            for (int round = 0; round < 25; ++round) {
                EXPECT_TRUE(replaceFile(root / "file", std::string(size, letter)));
            }
        });
    }
    for (auto& writer : writers) {
        writer.join();
    }
    const std::string content = readText(root / "file");
    EXPECT_EQ(content, std::string(size, content.at(0)));
    EXPECT_THAT(namesIn(root.path()), ElementsAre("file"));
}

TEST(ReplaceFile, showsReadersTheOldOrTheNewContentNeverAMixture) {
    const test_support::TemporaryFolder root;
    constexpr std::size_t size = 300'000;
    const std::string as(size, 'a');
    const std::string bs(size, 'b');
    ASSERT_TRUE(replaceFile(root / "file", as));
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (int i = 0; i < 30; ++i) {
            EXPECT_TRUE(replaceFile(root / "file", i % 2 == 0 ? bs : as));
        }
        done = true;
    });
    while (!done) {
        const auto content = readFile(root / "file", size);
        EXPECT_TRUE(content && (*content == as || *content == bs));
    }
    writer.join();
}

} // namespace
