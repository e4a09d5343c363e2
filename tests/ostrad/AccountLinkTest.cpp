#include "ostrad/AccountLink.h"

#include "tests/ostrad/TempFolder.h"

#include <gtest/gtest.h>

namespace ostrad {
namespace {

using namespace std::chrono_literals;
using Outcome = AccountLink::Outcome;

class AccountLinkTest : public testing::Test {
  protected:
    AccountLink make() {
        return {catalogue, [this] { return now; },
                [this](std::size_t below) { return draws++ % below; }};
    }

    test::TempFolder temp;
    Catalogue catalogue{temp.path("db")};
    std::chrono::steady_clock::time_point now;
    std::size_t draws = 0;
    AccountLink link = make();
};

TEST_F(AccountLinkTest, beginsWithoutLinkAndWithoutCode) {
    EXPECT_FALSE(link.isLinked());
    EXPECT_EQ(link.pendingCode(), std::nullopt);
}

TEST_F(AccountLinkTest, showsACodeOfLettersAndDigitsThatLookLikeNothingElse) {
    const std::string code = link.start();
    ASSERT_EQ(code.size(), 9U);
    EXPECT_EQ(code.substr(0, 4).find_first_not_of("ABCDEFGHJKLMNPQRSTUVWXYZ"), std::string::npos);
    EXPECT_EQ(code[4], '-');
    EXPECT_EQ(code.substr(5).find_first_not_of("23456789"), std::string::npos);
    EXPECT_EQ(link.pendingCode(), code);
}

TEST_F(AccountLinkTest, isLinkedOnceTheCodeIsApproved) {
    const std::string code = link.start();
    EXPECT_EQ(link.approve(code), Outcome::done);
    EXPECT_TRUE(link.isLinked());
    EXPECT_EQ(link.pendingCode(), std::nullopt);
    EXPECT_EQ(link.approve(code), Outcome::nothingPending);
}

TEST_F(AccountLinkTest, takesACodeAsPeopleTypeIt) {
    std::string code = link.start();
    code.erase(4, 1);
    for (char& c : code) {
        c = static_cast<char>(std::tolower(c));
    }
    EXPECT_EQ(link.approve(code), Outcome::done);
}

TEST_F(AccountLinkTest, isNotLinkedOnceTheCodeIsDenied) {
    EXPECT_EQ(link.deny(link.start()), Outcome::done);
    EXPECT_FALSE(link.isLinked());
    EXPECT_EQ(link.pendingCode(), std::nullopt);
}

TEST_F(AccountLinkTest, forgetsACodeAfterTenMinutes) {
    const std::string code = link.start();
    now += 10min - 1s;
    EXPECT_EQ(link.pendingCode(), code);
    now += 1s;
    EXPECT_EQ(link.pendingCode(), std::nullopt);
    EXPECT_EQ(link.approve(code), Outcome::nothingPending);
    EXPECT_FALSE(link.isLinked());
}

TEST_F(AccountLinkTest, offersTheSameCodeWhileItIsFresh) {
    const std::string code = link.start();
    now += 5min;
    EXPECT_EQ(link.start(), code);
    now += 1s;
    EXPECT_NE(link.start(), code);
    EXPECT_EQ(link.approve(code), Outcome::wrongCode);
}

TEST_F(AccountLinkTest, voidsACodeThatSomebodyIsGuessing) {
    const std::string code = link.start();
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(link.approve("ZZZZ-9999"), Outcome::wrongCode);
    }
    EXPECT_EQ(link.pendingCode(), code);
    EXPECT_EQ(link.approve(""), Outcome::wrongCode);
    EXPECT_EQ(link.approve(code), Outcome::nothingPending);
}

TEST_F(AccountLinkTest, staysLinkedUntilItIsUnlinked) {
    link.approve(link.start());
    AccountLink later = make();
    EXPECT_TRUE(later.isLinked());
    later.unlink();
    EXPECT_FALSE(later.isLinked());
    EXPECT_FALSE(make().isLinked());
}

TEST(SystemRandom, staysBelowItsBoundAndReachesAllOfIt) {
    std::vector<int> seen(8);
    for (int i = 0; i < 4000; ++i) {
        ++seen.at(systemRandomBelow(8));
    }
    for (const int count : seen) {
        EXPECT_GT(count, 250); // 500 expected; this far below is 12 standard deviations away
    }
}

} // namespace
} // namespace ostrad
