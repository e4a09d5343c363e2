#include "platform/appcast/VersionOrder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace platform::appcast {
namespace {

const std::vector<std::string> ascending = {"0",
                                            "0.0.1",
                                            "0.9",
                                            "1",
                                            "1.0.1",
                                            "1.2",
                                            "1.10",
                                            "2",
                                            "2.0.0.1",
                                            "010",
                                            "99999999999999999999",
                                            "100000000000000000000"};
const std::vector<std::string> unreadable = {"",  "-1", "+1", "1.9-rc1", "2b1", "v3",    "next",
                                             ".", "1.", ".1", "1..2",    "1 ",  "1.0x3", "0x10"};

TEST(VersionOrder, isThatOfTheNumbers) {
    for (std::size_t a = 0; a < ascending.size(); ++a) {
        for (std::size_t b = 0; b < ascending.size(); ++b) {
            EXPECT_EQ(isNewerVersion(ascending[a], ascending[b]), a > b)
                << ascending[a] << " than " << ascending[b];
        }
    }
}

TEST(VersionOrder, countsAMissingNumberAsZero) {
    for (const char* one : {"1", "1.0", "1.0.0", "01", "1.00"}) {
        EXPECT_FALSE(isNewerVersion(one, "1"));
        EXPECT_FALSE(isNewerVersion("1", one));
    }
}

TEST(VersionOrder, hasWhatCannotBeReadBelowEverythingElse) {
    for (const auto& text : unreadable) {
        EXPECT_FALSE(isReadableVersion(text)) << text;
        for (const auto& version : ascending) {
            EXPECT_FALSE(isNewerVersion(text, version)) << text << " than " << version;
            EXPECT_TRUE(isNewerVersion(version, text)) << version << " than " << text;
        }
        for (const auto& other : unreadable) {
            EXPECT_FALSE(isNewerVersion(text, other)) << text << " than " << other;
        }
    }
}

} // namespace
} // namespace platform::appcast
