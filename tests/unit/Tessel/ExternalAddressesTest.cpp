#include "mac/Tessel/WebApp/ExternalAddresses.h"

#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/InMemorySystem.h"
#include "platform/testing/ManualScheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tessel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

struct Address {
    std::string_view url;
    bool shown;
    bool handedOver;
};

class Addresses : public testing::TestWithParam<Address> {};

TEST_P(Addresses, areShownHandedOverOrNeither) {
    EXPECT_EQ(canBeShown(GetParam().url), GetParam().shown) << GetParam().url;
    EXPECT_EQ(mayBeHandedOver(GetParam().url), GetParam().handedOver) << GetParam().url;
}

INSTANTIATE_TEST_SUITE_P(
    Table, Addresses,
    testing::Values(
        Address{"http://a.org/", true, true}, Address{"HTTPS://a.org/", true, true},
        Address{"about:blank", true, false}, Address{"data:text/html,x", true, false},
        Address{"blob:http://a.org/1", true, false}, Address{"javascript:alert(1)", true, false},
        Address{"", true, false}, Address{"/no/scheme", true, false}, Address{"1x:y", true, false},
        Address{"a b:c", true, false}, Address{":x", true, false},
        Address{"mailto:ann@a.org", false, true}, Address{"MailTo:ann@a.org", false, true},
        Address{"x-app+1.0:go", false, true}, Address{"ftp://a.org/x", false, true},
        Address{"file:///etc/passwd", false, false}, Address{"FILE:///etc/passwd", false, false},
        Address{"filesystem:http://a.org/x", false, false},
        Address{"view-source:http://a.org", false, false}));

class ExternalAddressesTest : public testing::Test {
  protected:
    platform::testing::ManualScheduler scheduler;
    platform::testing::Events events;
    platform::testing::FakeWorkspace workspace{events};
    platform::testing::RecordingLog log;
    ExternalAddresses addresses{workspace, scheduler.clock(), log};

    void open(const std::string& url) { addresses.open({.url = url}); }
    void follow(const std::string& url) {
        addresses.open({.url = url, .isLinkActivated = true, .isUserGesture = true});
    }
};

TEST_F(ExternalAddressesTest, areOpenedOnceASecondHoweverOftenAPageAsks) {
    open("mailto:1");
    open("mailto:2");
    scheduler.advance(999ms);
    open("mailto:3");
    scheduler.advance(1ms);
    open("mailto:4");
    open("mailto:5");
    EXPECT_THAT(workspace.opened, ElementsAre("mailto:1", "mailto:4"));
}

TEST_F(ExternalAddressesTest, areOpenedThreeTimesASecondForAUserWhoFollowsLinks) {
    for (const auto* const url : {"http://1/", "http://2/", "http://3/", "http://4/"}) {
        follow(url);
    }
    EXPECT_THAT(workspace.opened, ElementsAre("http://1/", "http://2/", "http://3/"));
    open("http://5/");
    EXPECT_THAT(workspace.opened, SizeIs(3)) << "a page has no second beside the user's";
    scheduler.advance(1s);
    follow("http://6/");
    EXPECT_THAT(workspace.opened, SizeIs(4));
}

TEST_F(ExternalAddressesTest, countAsThePagesUnlessALinkWasFollowedByTheUser) {
    open("http://1/");
    addresses.open({.url = "http://2/", .isLinkActivated = true});
    addresses.open({.url = "http://3/", .isUserGesture = true});
    EXPECT_THAT(workspace.opened, ElementsAre("http://1/"));
}

TEST_F(ExternalAddressesTest, areDroppedWithOneLineAMinute) {
    open("mailto:1");
    EXPECT_THAT(log.lines, IsEmpty());
    for (int second = 0; second < 59; ++second) {
        open("mailto:2");
        open("mailto:3");
        scheduler.advance(1s);
    }
    EXPECT_THAT(log.lines,
                ElementsAre("a page leads elsewhere more than once a second; the rest is dropped"));
    scheduler.advance(1s);
    open("mailto:4");
    open("mailto:5");
    EXPECT_THAT(log.lines, SizeIs(2));
}

} // namespace
} // namespace tessel
