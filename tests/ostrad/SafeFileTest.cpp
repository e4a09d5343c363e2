#include "ostrad/SafeFile.h"

#include "ostrad/TreeWalk.h"
#include "tests/ostrad/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

namespace ostrad {
namespace {

namespace fs = std::filesystem;
using test::TempFolder;

std::vector<std::string> walk(const std::string& root, WalkOutcome* outcome = nullptr) {
    std::vector<std::string> paths;
    const std::atomic<bool> stop = false;
    const auto result = walkTree(
        root, [](std::string_view) { return true; },
        [&paths](FoundFile file) { paths.push_back(std::move(file.path)); }, stop);
    if (outcome != nullptr) {
        *outcome = result;
    }
    std::ranges::sort(paths);
    return paths;
}

TEST(SafeFile, opensARegularFileInsideTheFolder) {
    const TempFolder temp;
    temp.write("library/a/b.mp3");
    EXPECT_TRUE(openFileBeneath(temp.path("library"), "a/b.mp3"));
}

TEST(SafeFile, refusesEveryWayOut) {
    const TempFolder temp;
    temp.write("secret.mp3");
    temp.write("library/a/b.mp3");
    fs::create_symlink(temp.path("secret.mp3"), temp.path("library/link.mp3"));
    fs::create_directory_symlink(temp.path(), temp.path("library/out"));
    fs::create_symlink(temp.path("library/a/b.mp3"), temp.path("library/inside.mp3"));
    const std::string library = temp.path("library");
    for (const std::string_view path :
         {"../secret.mp3", "a/../../secret.mp3", "/etc/hostname", "link.mp3", "out/secret.mp3",
          "inside.mp3", "", ".", "..", "a", "a/", "a//b.mp3", "./a/b.mp3", "missing.mp3"}) {
        EXPECT_FALSE(openFileBeneath(library, path)) << path;
    }
    EXPECT_FALSE(openFileBeneath(library, std::string_view("a/b.mp3\0x", 9)));
}

TEST(SafeFile, refusesAPipeWithoutWaitingForIt) {
    const TempFolder temp;
    ASSERT_EQ(::mkfifo(temp.path("song.mp3").c_str(), 0600), 0);
    EXPECT_FALSE(openFileBeneath(temp.path(), "song.mp3"));
}

TEST(TreeWalk, findsFilesAtEveryDepth) {
    const TempFolder temp;
    temp.write("a.mp3");
    temp.write("x/b.mp3");
    temp.write("x/y/z/c.mp3");
    EXPECT_EQ(walk(temp.path()), (std::vector<std::string>{"a.mp3", "x/b.mp3", "x/y/z/c.mp3"}));
}

TEST(TreeWalk, passesOverHiddenAndSystemFolders) {
    const TempFolder temp;
    temp.write(".hidden/a.mp3");
    temp.write("@eaDir/a.mp3");
    temp.write("._a.mp3");
    temp.write("b.mp3");
    EXPECT_EQ(walk(temp.path()), std::vector<std::string>{"b.mp3"});
}

TEST(TreeWalk, followsNoLinkSoItNeitherLoopsNorLeaves) {
    const TempFolder temp;
    temp.write("outside/secret.mp3");
    temp.write("library/a/b.mp3");
    fs::create_directory_symlink(temp.path("library"), temp.path("library/a/loop"));
    fs::create_directory_symlink(temp.path("outside"), temp.path("library/out"));
    fs::create_symlink(temp.path("outside/secret.mp3"), temp.path("library/link.mp3"));
    EXPECT_EQ(walk(temp.path("library")), std::vector<std::string>{"a/b.mp3"});
}

TEST(TreeWalk, reportsAFolderItCannotReadAndGoesOn) {
    const test::AsOrdinaryUser user;
    const TempFolder temp;
    temp.write("closed/a.mp3");
    temp.write("open/b.mp3");
    fs::permissions(temp.path("closed"), fs::perms::none);
    WalkOutcome outcome;
    EXPECT_EQ(walk(temp.path(), &outcome), std::vector<std::string>{"open/b.mp3"});
    EXPECT_EQ(outcome.unreadable, std::vector<std::string>{"closed"});
    fs::permissions(temp.path("closed"), fs::perms::owner_all);
}

TEST(TreeWalk, reportsAMissingRoot) {
    const TempFolder temp;
    WalkOutcome outcome;
    EXPECT_TRUE(walk(temp.path("gone"), &outcome).empty());
    EXPECT_EQ(outcome.unreadable, std::vector<std::string>{""});
}

TEST(TreeWalk, endsWhenToldTo) {
    const TempFolder temp;
    for (int i = 0; i < 20; ++i) {
        temp.write(std::to_string(i));
    }
    std::atomic<bool> stop = false;
    int found = 0;
    const auto outcome = walkTree(
        temp.path(), [](std::string_view) { return true; },
        [&](FoundFile) {
            ++found;
            stop = true;
        },
        stop);
    EXPECT_TRUE(outcome.stopped);
    EXPECT_EQ(found, 1);
}

} // namespace
} // namespace ostrad
