// What every DurableFiles promises. Include it in one source file of an executable.
#pragma once

#include "platform/DurableFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>

// One implementation with a folder to work in, and the few things that tests do to files.
class DurableFilesSubject {
  public:
    virtual ~DurableFilesSubject() = default;

    [[nodiscard]] virtual platform::DurableFiles& files() = 0;
    [[nodiscard]] virtual std::filesystem::path folder() const = 0;
    virtual void makeLink(const std::filesystem::path& path) = 0; // to folder()
    virtual void setMode(const std::filesystem::path& path, unsigned mode) = 0;
    [[nodiscard]] virtual unsigned modeOf(const std::filesystem::path& path) const = 0;
};

using DurableFilesFactory = std::function<std::unique_ptr<DurableFilesSubject>()>;

class DurableFilesContract : public testing::TestWithParam<DurableFilesFactory> {
  protected:
    static constexpr std::size_t enough = 1000;

    std::unique_ptr<DurableFilesSubject> subject = GetParam()();
    platform::DurableFiles& files = subject->files();
    const std::filesystem::path folder = subject->folder();

    void write(const std::filesystem::path& path, std::string_view text) const {
        const auto file = files.createPrivateFile(path);
        ASSERT_TRUE(file) << file.error().description();
        EXPECT_TRUE((*file)->writeAll(text));
        EXPECT_TRUE((*file)->flush());
        EXPECT_TRUE((*file)->close());
    }
    [[nodiscard]] int readError(const std::filesystem::path& path) const {
        const auto content = files.read(path, enough);
        return content ? 0 : content.error().errnoValue;
    }
};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(DurableFilesContract);

TEST_P(DurableFilesContract, makesFoldersThatOnlyTheOwnerEnters) {
    ASSERT_TRUE(files.ensurePrivateFolder(folder / "a/b/c"));
    for (const auto* name : {"a", "a/b", "a/b/c"}) {
        EXPECT_EQ(subject->modeOf(folder / name), 0700U) << name;
    }
}

TEST_P(DurableFilesContract, makesAnExistingFolderPrivateAgain) {
    ASSERT_TRUE(files.ensurePrivateFolder(folder / "a"));
    subject->setMode(folder / "a", 0755);
    ASSERT_TRUE(files.ensurePrivateFolder(folder / "a"));
    EXPECT_EQ(subject->modeOf(folder / "a"), 0700U);
}

TEST_P(DurableFilesContract, takesNoLinkAndNoFileForAFolder) {
    subject->makeLink(folder / "link");
    write(folder / "file", "");
    for (const auto* name : {"link", "link/", "file"}) {
        const auto ensured = files.ensurePrivateFolder(folder / name);
        ASSERT_FALSE(ensured) << name;
        EXPECT_EQ(ensured.error().errnoValue, ENOTDIR) << name;
        EXPECT_THAT(ensured.error().description(), testing::HasSubstr(folder)) << name;
    }
}

TEST_P(DurableFilesContract, createsAPrivateFileOnce) {
    write(folder / "file", "one");
    EXPECT_EQ(subject->modeOf(folder / "file"), 0600U);
    const auto again = files.createPrivateFile(folder / "file");
    ASSERT_FALSE(again);
    EXPECT_EQ(again.error().errnoValue, EEXIST);
    EXPECT_EQ(files.read(folder / "file", enough), "one");
}

TEST_P(DurableFilesContract, createsNothingThroughALink) {
    subject->makeLink(folder / "link");
    EXPECT_FALSE(files.createPrivateFile(folder / "link"));
}

TEST_P(DurableFilesContract, createsNothingInAFolderThatIsNotThere) {
    const auto file = files.createPrivateFile(folder / "none/file");
    ASSERT_FALSE(file);
    EXPECT_EQ(file.error().errnoValue, ENOENT);
}

TEST_P(DurableFilesContract, renamesOverAFileAndOverALink) {
    subject->makeLink(folder / "link");
    for (const auto* name : {"old", "link"}) {
        write(folder / "new", "new");
        EXPECT_TRUE(files.rename(folder / "new", folder / name));
        EXPECT_EQ(files.read(folder / name, enough), "new");
        EXPECT_EQ(readError(folder / "new"), ENOENT);
    }
    const auto missing = files.rename(folder / "new", folder / "old");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().errnoValue, ENOENT);
    EXPECT_EQ(files.read(folder / "old", enough), "new");
}

TEST_P(DurableFilesContract, makesAFilePrivateAgain) {
    write(folder / "file", "");
    subject->setMode(folder / "file", 0644);
    EXPECT_TRUE(files.makePrivate(folder / "file"));
    EXPECT_EQ(subject->modeOf(folder / "file"), 0600U);
    EXPECT_FALSE(files.makePrivate(folder / "none"));
}

TEST_P(DurableFilesContract, removesAFileOnce) {
    write(folder / "file", "");
    EXPECT_TRUE(files.remove(folder / "file"));
    const auto again = files.remove(folder / "file");
    ASSERT_FALSE(again);
    EXPECT_EQ(again.error().errnoValue, ENOENT);
}

TEST_P(DurableFilesContract, flushesAFolderAndSaysWhichStepFailed) {
    EXPECT_TRUE(files.flushFolder(folder));
    const auto missing = files.flushFolder(folder / "none");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().stage, platform::FolderFlushError::Stage::open);
    EXPECT_EQ(missing.error().error.errnoValue, ENOENT);
}

TEST_P(DurableFilesContract, listsRegularFilesByName) {
    for (const auto* name : {"b", ".c", "a"}) {
        write(folder / name, name);
    }
    ASSERT_TRUE(files.ensurePrivateFolder(folder / "folder"));
    subject->makeLink(folder / "link");
    EXPECT_THAT(files.fileNames(folder).value(), testing::ElementsAre(".c", "a", "b"));
    const auto missing = files.fileNames(folder / "none");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().errnoValue, ENOENT);
}

TEST_P(DurableFilesContract, readsRegularFilesOnly) {
    write(folder / "file", "text");
    ASSERT_TRUE(files.ensurePrivateFolder(folder / "folder"));
    subject->makeLink(folder / "link");
    EXPECT_EQ(files.read(folder / "file", enough), "text");
    EXPECT_EQ(readError(folder / "none"), ENOENT);
    EXPECT_EQ(readError(folder / "folder"), EISDIR);
    EXPECT_EQ(readError(folder / "link"), ELOOP);
}

TEST_P(DurableFilesContract, readsNoMoreThanItIsAllowedTo) {
    write(folder / "file", "12345");
    EXPECT_EQ(files.read(folder / "file", 5), "12345");
    const auto tooLarge = files.read(folder / "file", 4);
    ASSERT_FALSE(tooLarge);
    EXPECT_EQ(tooLarge.error().errnoValue, EFBIG);
}

TEST_P(DurableFilesContract, locksAFolderAgainAfterItWasUnlocked) {
    for (int round = 0; round < 3; ++round) {
        EXPECT_TRUE(files.lockFolder(folder)) << round;
    }
    EXPECT_FALSE(files.lockFolder(folder / "none"));
}
