#include "ostrad/Folders.h"

#include "tests/ostrad/TempFolder.h"

#include <gtest/gtest.h>

namespace ostrad {
namespace {

namespace fs = std::filesystem;
using test::TempFolder;

TEST(ResolveFolder, returnsTheCanonicalPath) {
    const TempFolder temp;
    temp.makeFolder("real");
    fs::create_directory_symlink(temp.path("real"), temp.path("link"));
    EXPECT_EQ(resolveFolder(temp.path("real")), temp.path("real"));
    EXPECT_EQ(resolveFolder(temp.path("real/")), temp.path("real"));
    EXPECT_EQ(resolveFolder(temp.path("link")), temp.path("real"));
    EXPECT_EQ(resolveFolder(temp.path("real/../real/.")), temp.path("real"));
}

TEST(ResolveFolder, refusesWithASentenceForThePersonWhoTypedIt) {
    const TempFolder temp;
    temp.write("file");
    fs::create_symlink("round", temp.path("round"));
    EXPECT_EQ(resolveFolder("music").error(),
              "The folder must be given by its full path, beginning with /.");
    EXPECT_EQ(resolveFolder("").error(), resolveFolder("music").error());
    EXPECT_EQ(resolveFolder(temp.path("gone")).error(),
              "There is no folder at " + temp.path("gone") + ".");
    EXPECT_EQ(resolveFolder(temp.path("file")).error(), temp.path("file") + " is not a folder.");
    EXPECT_EQ(resolveFolder("/").error(), "The whole disk cannot be a library: choose a folder.");
    EXPECT_FALSE(resolveFolder(temp.path("round")));
    EXPECT_FALSE(resolveFolder(std::string_view("/tmp\0x", 6)));
    EXPECT_FALSE(resolveFolder("/" + std::string(5000, 'a')));
}

TEST(ResolveFolder, refusesAFolderItMayNotRead) {
    const test::AsOrdinaryUser user;
    const TempFolder temp;
    temp.makeFolder("closed");
    fs::permissions(temp.path("closed"), fs::perms::none);
    EXPECT_EQ(resolveFolder(temp.path("closed")).error(),
              temp.path("closed") + " cannot be read: permission denied.");
}

TEST(ListFolders, namesTheVisibleFoldersInNaturalOrder) {
    const TempFolder temp;
    for (const char* name : {"Disc 10", "Disc 2", "abc", ".hidden", "bad\xFF"}) {
        temp.makeFolder(name);
    }
    temp.write("file.mp3");
    const auto listing = listFolders(temp.path());
    ASSERT_TRUE(listing);
    EXPECT_EQ(listing->path, temp.path());
    EXPECT_EQ(listing->names, (std::vector<std::string>{"abc", "Disc 2", "Disc 10"}));
    EXPECT_EQ(listing->parent, fs::path(temp.path()).parent_path().string());
}

TEST(ListFolders, hasNothingAboveTheRoot) {
    const auto listing = listFolders("/");
    ASSERT_TRUE(listing);
    EXPECT_FALSE(listing->parent);
    EXPECT_FALSE(listFolders("/gone-for-good"));
}

TEST(FolderName, isTheLastComponent) {
    EXPECT_EQ(folderName("/a/My Music"), "My Music");
    EXPECT_EQ(folderName("/"), "/");
}

} // namespace
} // namespace ostrad
