// Sparkle, loaded from a bundle's Frameworks folder.
#include "platform/cocoa/SparkleUpdateFramework.h"
#include "platform/cocoa/Text.h"
#include "tests/cocoa_host/sparkle/SparkleHost.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

@interface NSObject (SparkleQuestions)
- (BOOL)supportsGentleScheduledUpdateReminders;
- (BOOL)standardUserDriverShouldHandleShowingScheduledUpdate:(id)update
                                         andInImmediateFocus:(BOOL)focus;
@end

namespace {

using cocoa_host::sparkle;

class KeptLines final : public platform::Log {
  public:
    void write(std::string_view line) override { lines.emplace_back(line); }
    void writeLines(std::string_view /*prefix*/,
                    std::span<const std::string_view> /*lines*/) override {}

    std::vector<std::string> lines;
};

class Owner final : public platform::UpdateDelegate {
  public:
    [[nodiscard]] bool supportsGentleScheduledUpdateReminders() const override { return gentle; }
    [[nodiscard]] bool shouldHandleShowingScheduledUpdate(bool inImmediateFocus) override {
        asked.push_back(inImmediateFocus);
        return shows;
    }
    void willHandleShowingUpdate(bool handledByFramework) override {
        told.push_back(handledByFramework);
    }

    bool gentle = true;
    bool shows = true;
    std::vector<bool> asked;
    std::vector<bool> told;
};

class SparkleTest : public testing::Test {
  protected:
    SparkleTest() {
        std::filesystem::create_directories(contents());
        std::ofstream(contents() / "Info.plist")
            << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
               "<key>CFBundleName</key><string>Example</string></dict></plist>\n";
    }

    [[nodiscard]] std::filesystem::path contents() const { return folder / "Example.app/Contents"; }
    [[nodiscard]] std::filesystem::path library() const {
        return contents() / "Frameworks/Sparkle.framework/Sparkle";
    }
    // A link: a class can be loaded from one file only.
    void install(const std::filesystem::path& file) const {
        std::filesystem::create_directories(library().parent_path());
        std::filesystem::create_symlink(file, library());
    }
    std::unique_ptr<platform::UpdateController> makeController() {
        @autoreleasepool {
            NSBundle* const bundle = [NSBundle
                bundleWithPath:platform::cocoa::toFoundation((folder / "Example.app").native())];
            return platform::cocoa::SparkleUpdateFramework(bundle, log)
                .makeStandardController(owner);
        }
    }

    test_support::TemporaryFolder folder;
    KeptLines log;
    Owner owner;
};

TEST_F(SparkleTest, isNotThereInABundleWithoutIt) {
    EXPECT_EQ(makeController(), nullptr);
    EXPECT_THAT(log.lines, testing::ElementsAre("no updates: the bundle has no Sparkle.framework"));
}

TEST_F(SparkleTest, saysWhenItCannotBeLoaded) {
    std::filesystem::create_directories(library().parent_path());
    std::ofstream(library()) << "no library";
    EXPECT_EQ(makeController(), nullptr);
    ASSERT_EQ(log.lines.size(), 1U);
    EXPECT_THAT(log.lines[0],
                testing::StartsWith("no updates: Sparkle.framework cannot be loaded: "));
    EXPECT_THAT(log.lines[0], testing::HasSubstr(library().native()));
}

// In a process of its own, into which no other test has loaded the framework.
using SparkleDeathTest = SparkleTest;
TEST_F(SparkleDeathTest, saysWhenItIsNotVersion2) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    install(COCOA_HOST_OTHER_LIBRARY);
    EXPECT_EXIT(
        {
            const auto made = makeController();
            std::fprintf(stderr, "%s\n", log.lines.empty() ? "" : log.lines[0].c_str());
            std::_Exit(made == nullptr ? 0 : 1);
        },
        testing::ExitedWithCode(0), "no updates: Sparkle.framework is not version 2");
}

class SparkleControllerTest : public SparkleTest {
  protected:
    void SetUp() override {
        install(COCOA_HOST_SPARKLE);
        controller = makeController();
        ASSERT_NE(controller, nullptr);
        EXPECT_THAT(log.lines, testing::IsEmpty());
    }

    std::unique_ptr<platform::UpdateController> controller;
};

TEST_F(SparkleControllerTest, isStartedWithItsDelegates) {
    EXPECT_TRUE(sparkle().hostStarted);
    EXPECT_NE(sparkle().hostUpdaterDelegate, nil);
    EXPECT_EQ(sparkle().hostUpdaterDelegate, sparkle().hostUserDriverDelegate);
}

TEST_F(SparkleControllerTest, looksForUpdatesWhenItIsTold) {
    controller->checkForUpdates();
    EXPECT_EQ(sparkle().hostUserChecks, NSUInteger{1});
    EXPECT_EQ(sparkle().hostBackgroundChecks, NSUInteger{0});
    controller->checkForUpdatesInBackground();
    EXPECT_EQ(sparkle().hostUserChecks, NSUInteger{1});
    EXPECT_EQ(sparkle().hostBackgroundChecks, NSUInteger{1});
}

TEST_F(SparkleControllerTest, worksByItselfAsFarAsItMay) {
    controller->setAutomaticallyChecksForUpdates(true);
    EXPECT_TRUE(sparkle().hostChecksAutomatically);
    EXPECT_FALSE(sparkle().hostDownloadsAutomatically);
    controller->setAutomaticallyChecksForUpdates(false);
    controller->setAutomaticallyDownloadsUpdates(true);
    EXPECT_FALSE(sparkle().hostChecksAutomatically);
    EXPECT_TRUE(sparkle().hostDownloadsAutomatically);
}

TEST_F(SparkleControllerTest, asksItsOwnerBeforeItShowsAnUpdate) {
    EXPECT_TRUE([sparkle() hostFindUpdateInImmediateFocus:YES]);
    owner.shows = false;
    EXPECT_FALSE([sparkle() hostFindUpdateInImmediateFocus:NO]);
    EXPECT_THAT(owner.asked, testing::ElementsAre(true, false));
    EXPECT_THAT(owner.told, testing::ElementsAre(true, false));
    owner.gentle = false;
    EXPECT_TRUE([sparkle() hostFindUpdateInImmediateFocus:NO]);
    EXPECT_EQ(owner.asked.size(), 2U);
}

TEST_F(SparkleControllerTest, asksNobodyOnceItsOwnerIsGone) {
    id const delegate = sparkle().hostUserDriverDelegate;
    controller.reset();
    EXPECT_FALSE([delegate supportsGentleScheduledUpdateReminders]);
    EXPECT_TRUE([delegate standardUserDriverShouldHandleShowingScheduledUpdate:nil
                                                           andInImmediateFocus:NO]);
    EXPECT_THAT(owner.asked, testing::IsEmpty());
}

} // namespace
