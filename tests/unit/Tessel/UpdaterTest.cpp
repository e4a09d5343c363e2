#include "mac/Tessel/Application/Updater.h"

#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/InMemorySystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tessel {
namespace {

using platform::InfoDictionary;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// 32 bytes.
const std::string goodKey = "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=";

bool configured(std::optional<std::string> key, std::optional<std::string> feed) {
    return Updater::isConfigured(
        InfoDictionary{{"SUPublicEDKey", std::move(key)}, {"SUFeedURL", std::move(feed)}});
}

bool configuredWithFeed(const std::string& feed) {
    return configured(goodKey, feed);
}

bool configuredWithKey(const std::string& key) {
    return configured(key, "https://zorvane.app/appcast.xml");
}

TEST(UpdaterConfiguration, isCompleteWithAKeyOf32BytesAndAnHttpsFeed) {
    EXPECT_TRUE(configuredWithFeed("https://zorvane.app/appcast.xml"));
    EXPECT_TRUE(configuredWithFeed("https://zorvane.app:8443/a/b?channel=main#top"));
    EXPECT_TRUE(configuredWithFeed("https://10.0.0.7.updates.zorvane.app/appcast.xml"));
}

TEST(UpdaterConfiguration, isMissingWithoutAnInfoDictionary) {
    EXPECT_FALSE(Updater::isConfigured(InfoDictionary{}));
}

TEST(UpdaterConfiguration, needsBothValues) {
    EXPECT_FALSE(Updater::isConfigured(InfoDictionary{{"SUPublicEDKey", goodKey}}));
    EXPECT_FALSE(
        Updater::isConfigured(InfoDictionary{{"SUFeedURL", "https://zorvane.app/appcast.xml"}}));
    EXPECT_FALSE(Updater::isConfigured(InfoDictionary{{"CFBundleName", "Zorvane"}}));
}

TEST(UpdaterConfiguration, takesNoValueThatIsNotAString) {
    EXPECT_FALSE(configured(std::nullopt, "https://zorvane.app/appcast.xml"));
    EXPECT_FALSE(configured(goodKey, std::nullopt));
}

TEST(UpdaterConfiguration, refusesAKeyOf31Or33Bytes) {
    EXPECT_FALSE(configuredWithKey("AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHg=="));
    EXPECT_FALSE(configuredWithKey("AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8g"));
    EXPECT_FALSE(configuredWithKey(""));
}

TEST(UpdaterConfiguration, refusesAKeyThatIsNotStandardBase64) {
    EXPECT_FALSE(configuredWithKey("AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8"));
    EXPECT_FALSE(configuredWithKey("AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=\n"));
    EXPECT_FALSE(configuredWithKey(" AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8="));
    EXPECT_FALSE(configuredWithKey("AAECAwQFBgcICQoL DA0ODxAREhMUFRYXGBkaGxwdHh8="));
    EXPECT_FALSE(configuredWithKey("AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=AAAA"));
    EXPECT_FALSE(configuredWithKey("_-ECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8="));
    EXPECT_FALSE(configuredWithKey("AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh=8"));
    EXPECT_FALSE(configuredWithKey("not base64"));
}

TEST(UpdaterConfiguration, refusesEverySchemeButHttpsInLowerCase) {
    EXPECT_FALSE(configuredWithFeed("http://zorvane.app/appcast.xml"));
    EXPECT_FALSE(configuredWithFeed("HTTPS://zorvane.app/appcast.xml"));
    EXPECT_FALSE(configuredWithFeed("Https://zorvane.app/appcast.xml"));
    EXPECT_FALSE(configuredWithFeed("file:///appcast.xml"));
    EXPECT_FALSE(configuredWithFeed("httpsx://zorvane.app/"));
}

TEST(UpdaterConfiguration, refusesAFeedThatFormsNoUrl) {
    EXPECT_FALSE(configuredWithFeed(""));
    EXPECT_FALSE(configuredWithFeed("zorvane.app/appcast.xml"));
    EXPECT_FALSE(configuredWithFeed("//zorvane.app/appcast.xml"));
    EXPECT_FALSE(configuredWithFeed("https://zorvane app/appcast.xml"));
    EXPECT_FALSE(configuredWithFeed(" https://zorvane.app/appcast.xml"));
    EXPECT_FALSE(configuredWithFeed("https://[::1].evil/appcast.xml"));
    EXPECT_FALSE(configuredWithFeed("https://zorvane.app:80evil/appcast.xml"));
}

TEST(UpdaterConfiguration, isReadFromTheMainBundle) {
    platform::testing::FakeBundle bundle;
    EXPECT_FALSE(Updater::isConfigured(bundle));
    bundle.info = {{"SUPublicEDKey", goodKey}, {"SUFeedURL", "https://zorvane.app/appcast.xml"}};
    EXPECT_TRUE(Updater::isConfigured(bundle));
}

class UpdaterTest : public ::testing::Test {
  protected:
    platform::testing::Events events;
    platform::testing::FakeUpdateFramework framework{events};
    bool busy = false;
    int askedIfBusy = 0;
    Updater updater{framework, [this] {
                        ++askedIfBusy;
                        return busy;
                    }};

    void SetUp() override {
        EXPECT_THAT(events,
                    ElementsAre("start updater", "automatic checks on", "automatic downloads off"));
        events.clear();
    }
};

TEST_F(UpdaterTest, isItsFrameworksDelegateAndRemindsGently) {
    EXPECT_EQ(framework.delegate, &updater);
    EXPECT_TRUE(updater.supportsGentleScheduledUpdateReminders());
    EXPECT_EQ(askedIfBusy, 0);
}

TEST_F(UpdaterTest, passesOnWhatTheUserAsks) {
    updater.checkForUpdates();
    EXPECT_THAT(events, ElementsAre("check for updates"));
}

TEST_F(UpdaterTest, checksInTheBackgroundWithoutTheUser) {
    updater.checkNow();
    EXPECT_THAT(events, ElementsAre("check in background"));
}

TEST_F(UpdaterTest, showsAScheduledUpdateWhileTheOwnerIsIdle) {
    EXPECT_TRUE(framework.delegate->shouldHandleShowingScheduledUpdate(true));
    EXPECT_TRUE(framework.delegate->shouldHandleShowingScheduledUpdate(false));
    framework.delegate->willHandleShowingUpdate(true);
    updater.busyDidEnd();
    EXPECT_THAT(events, IsEmpty());
    EXPECT_EQ(askedIfBusy, 2);
}

TEST_F(UpdaterTest, holdsAScheduledUpdateBackWhileBusyAndOffersItOnceAfterwards) {
    busy = true;
    EXPECT_FALSE(framework.delegate->shouldHandleShowingScheduledUpdate(true));
    EXPECT_THAT(events, IsEmpty());
    busy = false;
    updater.busyDidEnd();
    EXPECT_THAT(events, ElementsAre("check for updates"));
    updater.busyDidEnd();
    EXPECT_THAT(events, ElementsAre("check for updates"));
}

TEST_F(UpdaterTest, forgetsAHeldBackUpdateWhenTheUserAsks) {
    busy = true;
    EXPECT_FALSE(framework.delegate->shouldHandleShowingScheduledUpdate(false));
    updater.checkForUpdates();
    events.clear();
    updater.busyDidEnd();
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(UpdaterTest, keepsAHeldBackUpdateThroughACheckInTheBackground) {
    busy = true;
    EXPECT_FALSE(framework.delegate->shouldHandleShowingScheduledUpdate(false));
    updater.checkNow();
    updater.busyDidEnd();
    EXPECT_THAT(events, ElementsAre("check in background", "check for updates"));
}

TEST(UpdaterWithoutFramework, doesNothing) {
    platform::testing::Events events;
    platform::testing::FakeUpdateFramework framework(events);
    framework.present = false;
    Updater updater(framework, [] { return true; });
    updater.checkForUpdates();
    updater.checkNow();
    EXPECT_FALSE(updater.shouldHandleShowingScheduledUpdate(true));
    updater.busyDidEnd();
    EXPECT_THAT(events, ElementsAre("start updater"));
}

} // namespace
} // namespace tessel
