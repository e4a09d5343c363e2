// What every FileSystem promises, on a real folder. Works for root and for ordinary users: what
// stands in the way is of the wrong kind, not forbidden. Include it in one source file of an
// executable.
#pragma once

#include "platform/FileSystem.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// The argument is what applicationSupportFolder() shall answer.
using FileSystemFactory =
    std::function<std::unique_ptr<platform::FileSystem>(const std::filesystem::path&)>;

class FilesContract : public testing::TestWithParam<FileSystemFactory> {
  protected:
    int errorOfCreating(const std::filesystem::path& folder) {
        const auto made = files->createFolders(folder, 0700);
        return made ? 0 : made.error().errnoValue;
    }

    test_support::TemporaryFolder root;
    std::unique_ptr<platform::FileSystem> files = GetParam()(root / "share/support");
};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(FilesContract);

TEST_P(FilesContract, seesFilesFoldersAndWhatLinksLeadTo) {
    writeText(root / "file", "");
    std::filesystem::create_symlink("file", root / "link");
    std::filesystem::create_symlink("nowhere", root / "dangling");

    EXPECT_TRUE(files->fileExists(root.path()));
    EXPECT_TRUE(files->fileExists(root / "file"));
    EXPECT_TRUE(files->fileExists(root / "link"));
    EXPECT_FALSE(files->fileExists(root / "dangling"));
    EXPECT_FALSE(files->fileExists(root / "absent"));
    EXPECT_FALSE(files->fileExists(root / "file/below"));
    EXPECT_FALSE(files->fileExists(""));
}

TEST_P(FilesContract, namesEverythingInAFolderButItself) {
    const std::string raw = "gr\xc3\xbcn raw\n";
    for (const std::string& name : {std::string("a"), std::string(".hidden"), raw}) {
        writeText(root / name, "");
    }
    std::filesystem::create_directory(root / "folder");

    const auto names = files->fileNames(root.path());

    ASSERT_TRUE(names);
    EXPECT_THAT(*names, testing::UnorderedElementsAre("a", ".hidden", raw, "folder"));
    EXPECT_EQ(files->fileNames(root / "folder"), std::vector<std::string>());
}

TEST_P(FilesContract, saysWhyAFolderCannotBeListed) {
    writeText(root / "file", "");
    EXPECT_EQ(files->fileNames(root / "absent").error().errnoValue, ENOENT);
    EXPECT_EQ(files->fileNames(root / "file").error().errnoValue, ENOTDIR);
    EXPECT_EQ(files->fileNames(root / "absent").error().description(),
              "cannot list the folder " + (root / "absent").native() +
                  ": No such file or directory");
}

TEST_P(FilesContract, givesEveryNewFolderTheModeWhateverTheFileCreationMask) {
    for (const mode_t mask : std::initializer_list<mode_t>{0000, 0022, 0077, 0777}) {
        const ScopedMask scoped(mask);
        const auto top = root / ("mask" + std::to_string(mask));
        for (const mode_t mode : std::initializer_list<mode_t>{0700, 0750, 0755}) {
            const auto folder = top / std::to_string(mode);
            ASSERT_TRUE(files->createFolders(folder / "deep/er", mode)) << mask;
            EXPECT_EQ(modeOf(folder), mode) << mask;
            EXPECT_EQ(modeOf(folder / "deep"), mode) << mask;
            EXPECT_EQ(modeOf(folder / "deep/er"), mode) << mask;
        }
        EXPECT_EQ(modeOf(top), 0700U) << "made by the first of them";
    }
}

TEST_P(FilesContract, givesAFolderWithoutAModeWhatTheFileCreationMaskLeaves) {
    for (const mode_t mask : std::initializer_list<mode_t>{0000, 0022, 0077}) {
        const ScopedMask scoped(mask);
        const auto top = root / ("default" + std::to_string(mask));
        ASSERT_TRUE(files->createFolders(top / "below"));
        ASSERT_TRUE(files->createFolders(top / "below"));
        EXPECT_EQ(modeOf(top / "below"), 0777U & ~mask);
        EXPECT_EQ(modeOf(top), 0777U & ~mask);
    }
}

TEST_P(FilesContract, leavesTheModeOfAnExistingFolderAlone) {
    std::filesystem::create_directory(root / "old");
    ASSERT_TRUE(files->setPermissions(root / "old", 0751));

    ASSERT_TRUE(files->createFolders(root / "old", 0700));
    ASSERT_TRUE(files->createFolders(root / "old/new", 0700));

    EXPECT_EQ(modeOf(root / "old"), 0751U);
    EXPECT_EQ(modeOf(root / "old/new"), 0700U);
}

TEST_P(FilesContract, takesAFolderBehindALinkForTheFolder) {
    std::filesystem::create_directory(root / "disk");
    std::filesystem::create_directory_symlink("disk", root / "linked");

    EXPECT_TRUE(files->createFolders(root / "linked", 0700));
    EXPECT_TRUE(files->createFolders(root / "linked/data", 0700));

    EXPECT_EQ(modeOf(root / "disk/data"), 0700U);
}

TEST_P(FilesContract, acceptsTrailingSlashesAndDots) {
    EXPECT_TRUE(files->createFolders((root / "a/b").native() + "//", 0700));
    EXPECT_TRUE(files->createFolders(root / "a/./c/../d", 0700));
    EXPECT_THAT(namesIn(root / "a"), testing::ElementsAre("b", "c", "d"));
    EXPECT_TRUE(files->createFolders("/", 0700));
}

TEST_P(FilesContract, saysWhatStandsInTheWayOfAFolder) {
    writeText(root / "file", "");
    std::filesystem::create_symlink("nowhere", root / "dangling");
    std::filesystem::create_symlink("loop", root / "loop");

    EXPECT_EQ(errorOfCreating(root / "file"), ENOTDIR);
    EXPECT_EQ(errorOfCreating(root / "file/below"), ENOTDIR);
    EXPECT_NE(errorOfCreating(root / "dangling"), 0);
    EXPECT_EQ(errorOfCreating(root / "loop/below"), ELOOP);
    EXPECT_EQ(errorOfCreating(root / std::string(5000, 'n')), ENAMETOOLONG);
    EXPECT_EQ(errorOfCreating(""), ENOENT);
    const auto failed = files->createFolders(root / "file", 0700);
    EXPECT_EQ(failed.error().description(),
              "cannot create the folder " + (root / "file").native() + ": Not a directory");
}

TEST_P(FilesContract, manyThreadsMayCreateTheSameFoldersAtOnce) {
    std::atomic<int> made = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                made += files->createFolders(root / std::to_string(round) / "a/b/c", 0700) ? 1 : 0;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(made, 200);
}

TEST_P(FilesContract, makesTheSupportFolderOnlyWhenAsked) {
    EXPECT_EQ(files->applicationSupportFolder(false), root / "share/support");
    EXPECT_FALSE(std::filesystem::exists(root / "share"));

    EXPECT_EQ(files->applicationSupportFolder(true), root / "share/support");
    EXPECT_EQ(modeOf(root / "share/support"), 0700U);
    EXPECT_EQ(files->applicationSupportFolder(true), root / "share/support");
}

TEST_P(FilesContract, saysWhyThereIsNoSupportFolder) {
    writeText(root / "share", "in the way");
    EXPECT_EQ(files->applicationSupportFolder(true).error().errnoValue, ENOTDIR);
    EXPECT_TRUE(files->applicationSupportFolder(false));
}

TEST_P(FilesContract, setsPermissionsOfFilesFoldersAndWhatLinksLeadTo) {
    writeText(root / "file", "");
    std::filesystem::create_symlink("file", root / "link");

    ASSERT_TRUE(files->setPermissions(root / "file", 0640));
    EXPECT_EQ(modeOf(root / "file"), 0640U);
    ASSERT_TRUE(files->setPermissions(root / "link", 0600));
    EXPECT_EQ(modeOf(root / "file"), 0600U);
    EXPECT_EQ(files->setPermissions(root / "absent", 0600).error().description(),
              "cannot set the permissions of " + (root / "absent").native() +
                  ": No such file or directory");
}

TEST_P(FilesContract, exchangesTheFileCreationMask) {
    const ScopedMask scoped(0027);
    EXPECT_EQ(files->exchangeFileCreationMask(0077), 0027U);
    EXPECT_EQ(files->exchangeFileCreationMask(0022), 0077U);
}

TEST_P(FilesContract, knowsTheCurrentFolder) {
    EXPECT_EQ(files->currentFolder(), std::filesystem::current_path());
}
