#include "mac/Tessel/Application/LoginItem.h"

#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/InMemorySystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using platform::LoginServiceStatus;
using tessel::LoginItem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LoginItemTest : public ::testing::Test {
  protected:
    static constexpr std::string_view key = "DefaultApplied";

    void enroll(bool isInstalled = true) {
        LoginItem::enrollOnceByDefault(service, defaults, key, isInstalled, log);
    }

    platform::testing::Events events;
    platform::testing::FakeLoginService service{events};
    platform::testing::InMemoryDefaults defaults;
    platform::testing::RecordingLog log;
};

TEST_F(LoginItemTest, isEnabledOnlyInTheEnabledStatus) {
    for (const auto status : {LoginServiceStatus::notRegistered,
                              LoginServiceStatus::requiresApproval, LoginServiceStatus::notFound}) {
        service.current = status;
        EXPECT_FALSE(LoginItem::isEnabled(service));
    }
    service.current = LoginServiceStatus::enabled;
    EXPECT_TRUE(LoginItem::isEnabled(service));
}

TEST_F(LoginItemTest, toggledTwiceReturnsTrueThenFalseAndLeavesTheFlagSet) {
    EXPECT_EQ(LoginItem::toggle(service, defaults, key), true);
    EXPECT_TRUE(LoginItem::isEnabled(service));
    EXPECT_EQ(LoginItem::toggle(service, defaults, key), false);
    EXPECT_FALSE(LoginItem::isEnabled(service));
    EXPECT_TRUE(defaults.boolean(key));
    EXPECT_THAT(events, ElementsAre("register at login", "unregister at login"));
}

TEST_F(LoginItemTest, aToggleTurnsOnWhatTheUserSwitchedOffElsewhere) {
    service.current = LoginServiceStatus::requiresApproval;
    EXPECT_EQ(LoginItem::toggle(service, defaults, key), true);
    EXPECT_TRUE(LoginItem::isEnabled(service));
}

TEST_F(LoginItemTest, aToggleThatFailsGivesTheReasonAndHasSetTheFlag) {
    service.failure = "no such service";
    const auto result = LoginItem::toggle(service, defaults, key);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), "no such service");
    EXPECT_TRUE(defaults.boolean(key));

    service.current = LoginServiceStatus::enabled;
    defaults.values.clear();
    EXPECT_FALSE(LoginItem::toggle(service, defaults, key));
    EXPECT_TRUE(defaults.boolean(key));
    EXPECT_TRUE(LoginItem::isEnabled(service));
}

TEST_F(LoginItemTest, isEnrolledOnceByDefault) {
    enroll();
    EXPECT_TRUE(LoginItem::isEnabled(service));
    EXPECT_TRUE(defaults.boolean(key));
    EXPECT_THAT(log.lines, IsEmpty());

    service.current = LoginServiceStatus::notRegistered; // the user removed it
    enroll();
    EXPECT_FALSE(LoginItem::isEnabled(service));
    EXPECT_THAT(events, ElementsAre("register at login by default"));
}

TEST_F(LoginItemTest, isNotEnrolledAfterTheUserHasToggledIt) {
    ASSERT_TRUE(LoginItem::toggle(service, defaults, key));
    ASSERT_TRUE(LoginItem::toggle(service, defaults, key));
    events.clear();
    enroll();
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(LoginItemTest, isNotEnrolledWhileNotInstalledAndTheDecisionStaysOpen) {
    enroll(false);
    EXPECT_THAT(events, IsEmpty());
    EXPECT_EQ(defaults.writes, 0);
    enroll(true);
    EXPECT_TRUE(LoginItem::isEnabled(service));
}

TEST_F(LoginItemTest, enabledByTheUserBeforeTheFirstLaunchOnlySetsTheFlag) {
    service.current = LoginServiceStatus::enabled;
    enroll();
    EXPECT_THAT(events, IsEmpty());
    EXPECT_TRUE(defaults.boolean(key));
}

TEST_F(LoginItemTest, anEnrolmentThatFailsIsLoggedAndTriedAgainAtTheNextLaunch) {
    service.failure = "the disk is full";
    enroll();
    EXPECT_EQ(defaults.writes, 0);
    EXPECT_THAT(log.lines, ElementsAre("login-item default enroll failed (will retry next "
                                       "launch): the disk is full"));
    service.failure.reset();
    enroll();
    EXPECT_TRUE(LoginItem::isEnabled(service));
    EXPECT_TRUE(defaults.boolean(key));
    EXPECT_EQ(log.lines.size(), 1U);
}

TEST_F(LoginItemTest, anEnrolmentNeverUndoesTheUsersOff) {
    service.current = LoginServiceStatus::requiresApproval;
    enroll();
    EXPECT_EQ(service.current, LoginServiceStatus::requiresApproval);
    EXPECT_FALSE(defaults.boolean(key));
    EXPECT_THAT(log.lines, ElementsAre("login-item default enroll failed (will retry next "
                                       "launch): the user has switched it off"));
}

TEST_F(LoginItemTest, tellsAFailureToTheGivenFunctionInstead) {
    service.failure = "no";
    std::vector<std::string> told;
    LoginItem::enrollOnceByDefault(service, defaults, key, true,
                                   [&](const std::string& message) { told.push_back(message); });
    EXPECT_THAT(told, ElementsAre("login-item default enroll failed (will retry next launch): no"));
    EXPECT_THAT(log.lines, IsEmpty());
}

} // namespace
