// Folders replaced by copies on the real file system.
#include "platform/posix/PosixFolderTree.h"
#include "tests/platform/services/TreeSnapshot.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace {

using platform::PosixFolderTree;
using std::filesystem::path;
using test_support::snapshotOf;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

void write(const path& file, const std::string& content) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << content;
}

void setTime(const path& file, time_t seconds) {
    const std::array times = {timespec{.tv_sec = seconds, .tv_nsec = 0},
                              timespec{.tv_sec = seconds, .tv_nsec = 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times.data(), AT_SYMLINK_NOFOLLOW), 0);
}

// An application with what bundles have: nested folders, executables, links of both kinds.
void makeBundle(const path& bundle, const std::string& version) {
    write(bundle / "Contents/Info.plist", "version " + version);
    write(bundle / "Contents/MacOS/program", "#!/bin/sh\necho " + version + "\n");
    write(bundle / "Contents/Resources/empty", "");
    write(bundle / "Contents/Resources" / ("only-in-" + version), "here");
    std::filesystem::create_symlink("../MacOS/program", bundle / "Contents/Resources/relative");
    std::filesystem::create_symlink("/usr/bin/absolute", bundle / "Contents/Resources/absolute");
    std::filesystem::create_symlink("nowhere", bundle / "Contents/Resources/dangling");
    ::chmod((bundle / "Contents/MacOS/program").c_str(), 0751);
    ::chmod((bundle / "Contents/Info.plist").c_str(), 0440);
    ::chmod((bundle / "Contents/Resources").c_str(), 0750);
    time_t time = 1'000'000'000;
    for (const auto& [name, description] : snapshotOf(bundle)) {
        setTime(bundle / name, ++time);
    }
}

std::vector<std::string> namesIn(const path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    return names;
}

int cannotExchange(const char* /*one*/, const char* other) {
    return ::access(other, F_OK) == 0 ? EINVAL : ENOENT;
}

class FolderTree : public ::testing::Test {
  protected:
    FolderTree() {
        makeBundle(source, "2");
        std::filesystem::create_directories(applications);
    }
    ~FolderTree() override {
        // A test may have taken away what its own removal needs.
        std::error_code ignored;
        std::filesystem::permissions(applications, std::filesystem::perms::owner_all, ignored);
    }

    test_support::TemporaryFolder folder;
    path source = folder / "Downloads/Some.app";
    path applications = folder / "Applications";
    path destination = applications / "Some.app";
    PosixFolderTree trees;
};

TEST_F(FolderTree, copiesPermissionsTimesAndLinksAsTheyAre) {
    ASSERT_TRUE(trees.replaceWithCopy(source, destination));
    EXPECT_EQ(snapshotOf(destination), snapshotOf(source));
    EXPECT_THAT(namesIn(applications), ElementsAre("Some.app"));
    EXPECT_EQ(std::filesystem::read_symlink(destination / "Contents/Resources/absolute"),
              "/usr/bin/absolute");
}

TEST_F(FolderTree, replacesAnOlderCopyCompletely) {
    for (const auto exchange : {platform::posix::exchangeNames, cannotExchange}) {
        std::filesystem::remove_all(destination);
        makeBundle(destination, "1");
        ASSERT_TRUE(PosixFolderTree(exchange).replaceWithCopy(source, destination));
        EXPECT_EQ(snapshotOf(destination), snapshotOf(source));
        EXPECT_THAT(namesIn(applications), ElementsAre("Some.app"));
    }
}

TEST_F(FolderTree, replacesAFileOrALinkInTheDestinationsPlace) {
    const path elsewhere = folder / "elsewhere";
    makeBundle(elsewhere, "1");
    const auto before = snapshotOf(elsewhere);
    for (const auto exchange : {platform::posix::exchangeNames, cannotExchange}) {
        std::filesystem::remove_all(destination);
        std::filesystem::create_symlink(elsewhere, destination);
        ASSERT_TRUE(PosixFolderTree(exchange).replaceWithCopy(source, destination));
        EXPECT_EQ(snapshotOf(destination), snapshotOf(source));
        EXPECT_EQ(snapshotOf(elsewhere), before);

        std::filesystem::remove_all(destination);
        write(destination, "a file");
        ASSERT_TRUE(PosixFolderTree(exchange).replaceWithCopy(source, destination));
        EXPECT_EQ(snapshotOf(destination), snapshotOf(source));
    }
}

TEST_F(FolderTree, replacesACopyWhoseFoldersCannotBeWritten) {
    makeBundle(destination, "1");
    ::chmod((destination / "Contents/MacOS").c_str(), 0500);
    ::chmod((destination / "Contents/Resources").c_str(), 0000);
    ASSERT_TRUE(trees.replaceWithCopy(source, destination));
    EXPECT_THAT(namesIn(applications), ElementsAre("Some.app"));
}

TEST_F(FolderTree, doesNotPassOnTheRightsOfAnotherUser) {
    ::chmod((source / "Contents/MacOS/program").c_str(), 06755);
    ASSERT_TRUE(trees.replaceWithCopy(source, destination));
    struct stat status{};
    ASSERT_EQ(::stat((destination / "Contents/MacOS/program").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0755U);
}

TEST_F(FolderTree, refusesToCopyAFolderOntoOrIntoItself) {
    const auto before = snapshotOf(source);
    const auto onto = trees.replaceWithCopy(source, source);
    ASSERT_FALSE(onto);
    EXPECT_EQ(onto.error().errnoValue, EEXIST);

    const path link = folder / "link";
    std::filesystem::create_directory_symlink(source.parent_path(), link);
    EXPECT_FALSE(trees.replaceWithCopy(source, link / "Some.app"));

    const auto into = trees.replaceWithCopy(source, source / "Contents/Some.app");
    ASSERT_FALSE(into);
    EXPECT_EQ(into.error().errnoValue, EINVAL);
    EXPECT_EQ(snapshotOf(source), before);
}

TEST_F(FolderTree, failsWithoutTheDestinationsFolder) {
    const auto copied = trees.replaceWithCopy(source, folder / "missing/Some.app");
    ASSERT_FALSE(copied);
    EXPECT_EQ(copied.error().errnoValue, ENOENT);
    EXPECT_THAT(copied.error().description(), HasSubstr("cannot copy " + source.native()));
}

TEST_F(FolderTree, keepsTheOldCopyWhenSomethingInTheSourceIsNoFile) {
    makeBundle(destination, "1");
    const auto before = snapshotOf(destination);
    ASSERT_EQ(::mkfifo((source / "Contents/pipe").c_str(), 0600), 0);
    const auto copied = trees.replaceWithCopy(source, destination);
    ASSERT_FALSE(copied);
    EXPECT_THAT(copied.error().attempt, HasSubstr("Contents/pipe"));
    EXPECT_EQ(snapshotOf(destination), before);
    EXPECT_THAT(namesIn(applications), ElementsAre("Some.app"));
}

TEST_F(FolderTree, removesWhatAnInterruptedCopyLeft) {
    makeBundle(destination, "1");
    makeBundle(applications / ".Some.app.new-abcdef", "2");
    makeBundle(applications / ".Some.app.old-abcdef", "0");
    makeBundle(applications / ".Other.app.new-abcdef", "2");
    trees.clearLeftovers(destination);
    EXPECT_THAT(namesIn(applications), UnorderedElementsAre("Some.app", ".Other.app.new-abcdef"));
}

TEST_F(FolderTree, putsTheOldCopyBackThatWasSetAside) {
    const path aside = applications / ".Some.app.old-abcdef";
    makeBundle(aside, "1");
    const auto before = snapshotOf(aside);
    trees.clearLeftovers(destination);
    EXPECT_EQ(snapshotOf(destination), before);
    EXPECT_THAT(namesIn(applications), ElementsAre("Some.app"));
}

TEST_F(FolderTree, leavesACopyAloneThatIsBeingMade) {
    const path inTheMaking = applications / ".Some.app.new-abcdef";
    makeBundle(inTheMaking, "2");
    const int lock = ::open(inTheMaking.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(lock, LOCK_EX), 0);
    trees.clearLeftovers(destination);
    EXPECT_TRUE(std::filesystem::exists(inTheMaking));
    ::close(lock);
    trees.clearLeftovers(destination);
    EXPECT_FALSE(std::filesystem::exists(inTheMaking));
}

TEST_F(FolderTree, knowsWhichFoldersAreWritable) {
    EXPECT_TRUE(trees.isWritableFolder(applications));
    EXPECT_FALSE(trees.isWritableFolder(applications / "missing"));
    EXPECT_FALSE(trees.isWritableFolder(source / "Contents/Info.plist"));
    EXPECT_FALSE(trees.isWritableFolder("/proc/self"));
}

// The error of a copy made by another process, where the rights or limits of this one would not do.

template <typename Prepare>
int errnoInAChild(const path& source, const path& destination, Prepare prepare) {
    const pid_t child = ::fork();
    if (child == 0) {
        prepare();
        const auto copied = PosixFolderTree().replaceWithCopy(source, destination);
        ::_exit(copied ? 0 : copied.error().errnoValue);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(FolderTree, keepsTheOldCopyWhenThereIsNoRoom) {
    makeBundle(destination, "1");
    const auto before = snapshotOf(destination);
    write(source / "Contents/Resources/large", std::string(1 << 20, 'x'));
    const int error = errnoInAChild(source, destination, [] {
        constexpr rlimit small{.rlim_cur = 100'000, .rlim_max = 100'000};
        ::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &small);
    });
    EXPECT_EQ(error, EFBIG);
    EXPECT_EQ(snapshotOf(destination), before);
    EXPECT_THAT(namesIn(applications), ElementsAre("Some.app"));
}

TEST_F(FolderTree, keepsTheOldCopyWhenAFileCannotBeRead) {
    makeBundle(destination, "1");
    const auto before = snapshotOf(destination);
    ::chmod((source / "Contents/Info.plist").c_str(), 0000);
    const int error = errnoInAChild(source, destination, [this] {
        if (::getuid() == 0) { // whom permissions do not stop
            constexpr uid_t nobody = 65534;
            for (const path& own : {folder.path(), applications, destination}) {
                (void)::chown(own.c_str(), nobody, nobody);
            }
            (void)::chmod(folder.path().c_str(), 0755);
            (void)::setgid(nobody);
            (void)::setuid(nobody);
            ::chmod((source / "Contents/Resources").c_str(), 0755);
        }
    });
    EXPECT_EQ(error, EACCES);
    EXPECT_EQ(snapshotOf(destination), before);
    EXPECT_THAT(namesIn(applications), ElementsAre("Some.app"));
}

// Runs the copy in a process that is killed at its system call number `last`, counted from the
// beginning of the copy. False: it had ended by itself before.
bool killAt(int last, const path& source, const path& destination, const char* mode) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::execl(ZORVANE_COPY_PROBE, "copy-probe", source.c_str(), destination.c_str(), mode,
                static_cast<char*>(nullptr));
        ::_exit(127);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSTOPPED(status)) << status;
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_EXITKILL);
    ::ptrace(PTRACE_CONT, child, nullptr, nullptr);
    ::waitpid(child, &status, 0);
    for (int call = 0; WIFSTOPPED(status); ++call) {
        if (call == last) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            return true;
        }
        ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        ::waitpid(child, &status, 0);
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    return false;
}

class KilledCopy : public FolderTree, public ::testing::WithParamInterface<const char*> {};

TEST_P(KilledCopy, leavesACompleteApplicationWhereverItWasStopped) {
    makeBundle(destination, "1");
    const auto oldOne = snapshotOf(destination);
    const auto newOne = snapshotOf(source);
    int keptOld = 0;
    int placedNew = 0;
    // A call stops the process twice, before and after: an odd step meets both.
    for (int stops = 0; killAt(stops, source, destination, GetParam()); stops += 3) {
        if (!std::filesystem::exists(destination)) {
            ASSERT_STREQ(GetParam(), "two-steps") << "stop " << stops;
            trees.clearLeftovers(destination);
        }
        const auto found = snapshotOf(destination);
        ASSERT_THAT(found, AnyOf(oldOne, newOne)) << "stop " << stops;
        trees.clearLeftovers(destination);
        ASSERT_EQ(snapshotOf(destination), found);
        ASSERT_THAT(namesIn(applications), ElementsAre("Some.app")) << "stop " << stops;
        if (found == newOne) {
            ++placedNew;
            std::filesystem::remove_all(destination);
            makeBundle(destination, "1");
        } else {
            ++keptOld;
        }
    }
    EXPECT_EQ(snapshotOf(destination), newOne);
    EXPECT_GT(keptOld, 20);
    EXPECT_GT(placedNew, 5);
}

INSTANTIATE_TEST_SUITE_P(Either, KilledCopy, ::testing::Values("one-step", "two-steps"),
                         [](const auto& test) {
                             return std::string(test.param) == "one-step" ? "InOneStep"
                                                                          : "InTwoSteps";
                         });

} // namespace
