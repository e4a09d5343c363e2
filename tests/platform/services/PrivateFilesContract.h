// What every PrivateFiles promises, on a real folder, for root and for ordinary users alike.
// Include it in one source file of an executable.
#pragma once

#include "platform/PrivateFiles.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using PrivateFilesFactory = std::function<std::unique_ptr<platform::PrivateFiles>()>;

class PrivateFilesContract : public testing::TestWithParam<PrivateFilesFactory> {
  protected:
    static int errorOf(const std::expected<void, platform::FileError>& result) {
        return result ? 0 : result.error().errnoValue;
    }
    int errorOfReading(const std::filesystem::path& path, std::size_t most = 1000) {
        const auto content = files->read(path, most);
        return content ? 0 : content.error().errnoValue;
    }

    test_support::TemporaryFolder root;
    std::unique_ptr<platform::PrivateFiles> files = GetParam()();
    const std::filesystem::path nul = (root / "a").native() + std::string("\0b", 2);
};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PrivateFilesContract);

TEST_P(PrivateFilesContract, readsBackWhatItWrote) {
    const std::string content("line\n\0\xff", 7);
    ASSERT_TRUE(files->replace(root / "file", content));
    EXPECT_EQ(files->read(root / "file", 7), content);
    ASSERT_TRUE(files->replace(root / "file", ""));
    EXPECT_EQ(files->read(root / "file", 0), "");
    EXPECT_THAT(namesIn(root.path()), testing::ElementsAre("file"));
}

TEST_P(PrivateFilesContract, writesForTheOwnerOnlyWhateverTheFileCreationMask) {
    for (const auto mask : {mode_t{0000}, mode_t{0022}, mode_t{0777}}) {
        const ScopedMask scoped(mask);
        ASSERT_TRUE(files->replace(root / "file", "text"));
        EXPECT_EQ(modeOf(root / "file"), 0600U);
    }
}

TEST_P(PrivateFilesContract, saysWhyAFileCannotBeRead) {
    writeText(root / "long", "12345");
    EXPECT_EQ(errorOfReading(root / "absent"), ENOENT);
    EXPECT_EQ(errorOfReading(root / "long", 4), EFBIG);
    EXPECT_EQ(errorOfReading(root.path()), EISDIR);
    EXPECT_EQ(errorOfReading(nul), EINVAL);
    EXPECT_EQ(files->read(root / "absent", 1).error().description(),
              "cannot read the file " + (root / "absent").native() + ": No such file or directory");
}

TEST_P(PrivateFilesContract, saysWhyAFileCannotBeWrittenAndLeavesNothing) {
    writeText(root / "file", "text");
    std::filesystem::create_directories(root / "folder/full");
    EXPECT_EQ(errorOf(files->replace(root / "absent/file", "x")), ENOENT);
    EXPECT_EQ(errorOf(files->replace(root / "file/below", "x")), ENOTDIR);
    EXPECT_EQ(errorOf(files->replace(root / "folder", "x")), EISDIR);
    EXPECT_EQ(errorOf(files->replace(nul, "x")), EINVAL);
    EXPECT_NE(errorOf(files->replace("", "x")), 0);
    EXPECT_THAT(namesIn(root.path()), testing::ElementsAre("file", "folder"));
    EXPECT_THAT(namesIn(root / "folder"), testing::ElementsAre("full"));
}

TEST_P(PrivateFilesContract, removesFilesAndLinksButNoFolder) {
    writeText(root / "file", "text");
    std::filesystem::create_symlink("file", root / "link");
    std::filesystem::create_directory(root / "folder");
    EXPECT_TRUE(files->remove(root / "link"));
    EXPECT_TRUE(std::filesystem::exists(root / "file"));
    EXPECT_TRUE(files->remove(root / "file"));
    EXPECT_EQ(errorOf(files->remove(root / "file")), ENOENT);
    EXPECT_NE(errorOf(files->remove(root / "folder")), 0);
    EXPECT_EQ(errorOf(files->remove(nul)), EINVAL);
    EXPECT_THAT(namesIn(root.path()), testing::ElementsAre("folder"));
}

TEST_P(PrivateFilesContract, seesLinksThemselves) {
    std::filesystem::create_symlink("nowhere", root / "dangling");
    EXPECT_TRUE(files->exists(root / "dangling"));
    EXPECT_TRUE(files->exists(root.path()));
    EXPECT_FALSE(files->exists(root / "absent"));
    EXPECT_FALSE(files->exists(""));
    EXPECT_FALSE(files->exists(nul));
}

TEST_P(PrivateFilesContract, movesFilesFoldersAndLinks) {
    writeText(root / "file", "text");
    std::filesystem::create_directories(root / "folder/below");
    std::filesystem::create_symlink("folder", root / "link");
    EXPECT_TRUE(files->move(root / "file", root / "file2"));
    EXPECT_TRUE(files->move(root / "folder", root / "folder2"));
    EXPECT_TRUE(files->move(root / "link", root / "link2"));
    EXPECT_EQ(readText(root / "file2"), "text");
    EXPECT_TRUE(std::filesystem::exists(root / "folder2/below"));
    EXPECT_EQ(std::filesystem::read_symlink(root / "link2"), "folder");
    EXPECT_THAT(namesIn(root.path()), testing::ElementsAre("file2", "folder2", "link2"));
}

TEST_P(PrivateFilesContract, overwritesNothingWithAMove) {
    writeText(root / "file", "text");
    std::filesystem::create_directory(root / "folder");
    writeText(root / "taken", "precious");
    std::filesystem::create_directory(root / "empty");
    std::filesystem::create_symlink("nowhere", root / "dangling");
    for (const auto* const source : {"file", "folder"}) {
        for (const auto* const target : {"taken", "empty", "dangling", "file"}) {
            EXPECT_EQ(errorOf(files->move(root / source, root / target)), EEXIST) << target;
        }
    }
    EXPECT_EQ(readText(root / "taken"), "precious");
    EXPECT_EQ(readText(root / "file"), "text");
    EXPECT_THAT(namesIn(root.path()),
                testing::ElementsAre("dangling", "empty", "file", "folder", "taken"));
}

TEST_P(PrivateFilesContract, leavesNothingBehindWhenItCannotMove) {
    std::filesystem::create_directory(root / "folder");
    writeText(root / "file", "");
    EXPECT_EQ(errorOf(files->move(root / "absent", root / "new")), ENOENT);
    EXPECT_EQ(errorOf(files->move(root / "folder", root / "folder/itself")), EINVAL);
    EXPECT_EQ(errorOf(files->move(root / "file", root / "absent/new")), ENOENT);
    EXPECT_EQ(errorOf(files->move(root / "file", nul)), EINVAL);
    EXPECT_THAT(namesIn(root.path()), testing::ElementsAre("file", "folder"));
    EXPECT_THAT(namesIn(root / "folder"), testing::IsEmpty());
}

TEST_P(PrivateFilesContract, lastOfManyWritersWinsAndReadersSeeWholeFiles) {
    constexpr std::size_t size = 50'000;
    ASSERT_TRUE(files->replace(root / "file", std::string(size, 'a')));
    std::atomic<int> running = 3;
    std::vector<std::thread> writers;
    for (const char letter : {'a', 'b', 'c'}) {
        writers.emplace_back([&, letter] {
            for (int round = 0; round < 20; ++round) {
                EXPECT_TRUE(files->replace(root / "file", std::string(size, letter)));
            }
            --running;
        });
    }
    while (running > 0) {
        const auto content = files->read(root / "file", size);
        ASSERT_TRUE(content);
        EXPECT_EQ(*content, std::string(size, content->at(0)));
    }
    for (auto& writer : writers) {
        writer.join();
    }
}
