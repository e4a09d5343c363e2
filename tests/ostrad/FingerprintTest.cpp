#include "ostrad/Fingerprint.h"

#include <gtest/gtest.h>

namespace ostrad {
namespace {

std::string report(const std::string& print, const std::string& duration = "61.6") {
    return R"({"duration": )" + duration + R"(, "fingerprint": ")" + print + "\"}";
}

constexpr const char* print = "AQADtMmybfGO8NCNEESLnzHyXNOHeHnG-_c";

TEST(Fingerprint, isTheSoundAndItsLength) {
    EXPECT_EQ(parseFingerprint(report(print)), std::string("62:") + print);
    EXPECT_EQ(parseFingerprint(report(print, "7")), std::string("7:") + print);
}

TEST(Fingerprint, ofSilenceSaysNothing) {
    EXPECT_FALSE(parseFingerprint(report("AQAAAAAAAAAAAAAAAAAAAAAAAA")));
    EXPECT_FALSE(parseFingerprint(report("AQABz0qUkZ")));
}

TEST(Fingerprint, isCheckedLikeEverythingThatComesFromElsewhere) {
    EXPECT_FALSE(parseFingerprint(""));
    EXPECT_FALSE(parseFingerprint("[]"));
    EXPECT_FALSE(parseFingerprint(report(print, "-1")));
    EXPECT_FALSE(parseFingerprint(report(print, "1e300")));
    EXPECT_FALSE(parseFingerprint(report(print, "\"61\"")));
    EXPECT_FALSE(parseFingerprint(report(std::string(print) + " '")));
    EXPECT_FALSE(parseFingerprint(report(std::string(200, 'a') + print + std::string(4000, 'b'))));
}

} // namespace
} // namespace ostrad
