#include "ostrad/DeviceLinks.h"

#include <gtest/gtest.h>

#include <set>

namespace ostrad {
namespace {

using namespace std::chrono_literals;
using Status = DeviceLinks::Status;

class DeviceLinksTest : public testing::Test {
  protected:
    std::chrono::steady_clock::time_point now;
    DeviceLinks links{[this] { return now; }, systemRandomBelow};
};

TEST_F(DeviceLinksTest, waitsUntilTheCodeIsApproved) {
    const auto started = links.start("Studio");
    EXPECT_EQ(started.life, 10min);
    EXPECT_EQ(links.poll(started.pollToken).status, Status::pending);
    EXPECT_TRUE(links.approve(started.code));
    const auto polled = links.poll(started.pollToken);
    EXPECT_EQ(polled.status, Status::approved);
    EXPECT_EQ(polled.tokenName, "Studio");
    EXPECT_GE(polled.token.size(), 43U);
    EXPECT_NE(polled.token, started.pollToken);
    EXPECT_EQ(links.poll(started.pollToken).status, Status::unknown) << "a token is told once";
}

TEST_F(DeviceLinksTest, tellsADenialAndAnExpiryOnce) {
    const auto denied = links.start("a");
    EXPECT_TRUE(links.deny(denied.code));
    EXPECT_EQ(links.poll(denied.pollToken).status, Status::denied);
    EXPECT_EQ(links.poll(denied.pollToken).status, Status::unknown);

    const auto expired = links.start("b");
    now += 10min - 1ns;
    EXPECT_EQ(links.poll(expired.pollToken).status, Status::pending);
    now += 1ns;
    EXPECT_FALSE(links.approve(expired.code));
    EXPECT_EQ(links.poll(expired.pollToken).status, Status::expired);
}

TEST_F(DeviceLinksTest, keepsLinksApart) {
    const auto a = links.start("a");
    const auto b = links.start("b");
    EXPECT_NE(a.code, b.code);
    EXPECT_TRUE(links.approve(b.code));
    EXPECT_FALSE(links.approve(b.code)) << "no longer waiting";
    EXPECT_EQ(links.poll(a.pollToken).status, Status::pending);
    EXPECT_EQ(links.poll(b.pollToken).tokenName, "b");
}

TEST_F(DeviceLinksTest, takesACodeAsPeopleTypeIt) {
    auto started = links.start("a");
    started.code.erase(4, 1);
    for (char& c : started.code) {
        c = static_cast<char>(std::tolower(c));
    }
    EXPECT_TRUE(links.approve(started.code));
}

TEST_F(DeviceLinksTest, voidsCodesThatSomebodyIsGuessing) {
    const auto started = links.start("a");
    for (int i = 0; i < 4; ++i) {
        links.wrongCode();
    }
    EXPECT_TRUE(links.isWaitingFor(started.code));
    links.wrongCode();
    EXPECT_FALSE(links.approve(started.code));
    EXPECT_EQ(links.poll(started.pollToken).status, Status::denied);
}

TEST_F(DeviceLinksTest, forgetsTheOldestOfTooMany) {
    const auto first = links.start("first");
    for (std::size_t i = 0; i < DeviceLinks::mostWaiting; ++i) {
        links.start("more");
    }
    EXPECT_EQ(links.poll(first.pollToken).status, Status::unknown);

    const std::string session = links.allowSession();
    for (std::size_t i = 0; i < DeviceLinks::mostSessions; ++i) {
        links.allowSession();
    }
    EXPECT_FALSE(links.isAllowed(session));
}

TEST_F(DeviceLinksTest, mintsForAnAllowedSessionOnly) {
    EXPECT_FALSE(links.mint(""));
    EXPECT_FALSE(links.mint("made up"));
    const std::string session = links.allowSession();
    std::set<std::string> tokens;
    for (int i = 0; i < 10; ++i) {
        const auto token = links.mint(session);
        ASSERT_TRUE(token);
        tokens.insert(*token);
    }
    EXPECT_EQ(tokens.size(), 10U);
    EXPECT_FALSE(tokens.contains(session));
}

} // namespace
} // namespace ostrad
