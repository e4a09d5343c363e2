#include "platform/DownloadName.h"
#include "platform/QuestionLimit.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using namespace std::chrono_literals;

TEST(QuestionLimit, hearsFiveQuestionsInTenSeconds) {
    QuestionLimit limit;
    SteadyTime now{};
    for (int question = 0; question < 5; ++question) {
        EXPECT_TRUE(limit.admits(now)) << question;
        now += 1s;
    }
    EXPECT_FALSE(limit.admits(now));
}

TEST(QuestionLimit, hearsAsOftenAsAPersonAnswers) {
    QuestionLimit limit;
    SteadyTime now{};
    for (int question = 0; question < 50; ++question) {
        EXPECT_TRUE(limit.admits(now)) << question;
        now += 2s;
    }
}

TEST(QuestionLimit, doesNotHearAPageThatGoesOnAskingUntilItIsSilent) {
    QuestionLimit limit;
    SteadyTime now{};
    for (int question = 0; question < 5; ++question) {
        (void)limit.admits(now);
    }
    for (int question = 0; question < 100; ++question) {
        now += 1s;
        EXPECT_FALSE(limit.admits(now)) << question;
    }
    now += 10s;
    EXPECT_TRUE(limit.admits(now));
}

struct Suggestion {
    std::string_view suggested;
    std::string_view name;
};

class DownloadName : public ::testing::TestWithParam<Suggestion> {};

TEST_P(DownloadName, isThatOfOneFile) {
    EXPECT_EQ(downloadName(GetParam().suggested), GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(
    Table, DownloadName,
    ::testing::Values(Suggestion{"film.mkv", "film.mkv"},
                      Suggestion{"a film (1).mkv", "a film (1).mkv"}, Suggestion{"", "download"},
                      Suggestion{"...", "download"}, Suggestion{" . ", "download"},
                      Suggestion{"../../.bashrc", "bashrc"}, Suggestion{"/etc/passwd", "passwd"},
                      Suggestion{"..\\..\\boot.ini", "boot.ini"}, Suggestion{"folder/", "download"},
                      Suggestion{".hidden", "hidden"}, Suggestion{"trailing. ", "trailing"},
                      Suggestion{"a\nb\x7F\x01.txt", "ab.txt"}, Suggestion{"\xC2\x85x", "x"},
                      Suggestion{"gpj\xE2\x80\xAE.exe", "gpj.exe"},
                      Suggestion{"\xE2\x81\xA6x\xE2\x81\xA9", "x"},
                      Suggestion{"caf\xC3\xA9.txt", "caf\xC3\xA9.txt"},
                      Suggestion{"caf\xE9.txt", "caf\xEF\xBF\xBD.txt"}));

TEST(DownloadNames, areCutBeforeTheirExtension) {
    std::string suggested;
    while (suggested.size() < 300) {
        suggested += "\xC3\xA9";
    }
    const std::string name = downloadName(suggested + ".mkv");
    EXPECT_EQ(name.size(), 200U);
    EXPECT_TRUE(name.ends_with("\xC3\xA9.mkv"));
    EXPECT_EQ(downloadName(std::string(300, 'a')), std::string(200, 'a'));
    EXPECT_EQ(downloadName("a." + std::string(300, 'b')).size(), 200U);
}

} // namespace
} // namespace platform
