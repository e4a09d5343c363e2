#include "tests/tessel/RunTool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tool::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST(TesselVersionNewer, printsTheAnswerAndExitsWithIt) {
    const auto newer = runTool({"version", "newer", "1.10", "1.9"});
    EXPECT_EQ(newer.output, "true\n");
    EXPECT_EQ(newer.status, 0);
    const auto equal = runTool({"version", "newer", "1.2", "1.2.0"});
    EXPECT_EQ(equal.output, "false\n");
    EXPECT_EQ(equal.status, 1);
    EXPECT_THAT(equal.error, IsEmpty());
}

TEST(TesselStagedBest, printsTheNewestName) {
    const auto best = runTool(
        {"staged", "best", "--newer-than", "1.4", "ostrad-1.4.1", "ostrad-1.10", "ostrad-1.x"});
    EXPECT_EQ(best.output, "ostrad-1.10\n");
    EXPECT_EQ(best.status, 0);
    const auto tool =
        runTool({"staged", "best", "--newer-than", "1", "--prefix", "tool_", "tool_2", "ostrad-3"});
    EXPECT_EQ(tool.output, "tool_2\n");
}

TEST(TesselStagedBest, exitsWith1WhenNothingIsNewer) {
    const auto none = runTool({"staged", "best", "--newer-than", "2", "ostrad-1.4.1"});
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.output, IsEmpty());
}

TEST(Tessel, exitsWith2OnWrongUsageAndSaysWhy) {
    const std::vector<std::vector<std::string>> wrong = {{},
                                                         {"nonsense"},
                                                         {"version"},
                                                         {"version", "newer"},
                                                         {"version", "newer", "1"},
                                                         {"version", "newer", "1", "2", "3"},
                                                         {"staged", "best", "ostrad-1"},
                                                         {"staged", "best", "--newer-than", "1"},
                                                         {"--nonsense"}};
    for (const auto& arguments : wrong) {
        const auto result = runTool(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
        EXPECT_FALSE(result.error.empty());
        EXPECT_THAT(result.output, IsEmpty());
    }
}

TEST(Tessel, helpsOnEveryLevelWithExamples) {
    EXPECT_THAT(runTool({"--help"}).output, HasSubstr("Exit status"));
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"version", "newer", "--help"}, {"staged", "best", "--help"}}) {
        const auto help = runTool(arguments);
        EXPECT_EQ(help.status, 0);
        EXPECT_THAT(help.output, HasSubstr("Examples:"));
    }
    EXPECT_EQ(runTool({"version", "--help"}).status, 0);
    EXPECT_THAT(runTool({"--version"}).output, StartsWith("tessel "));
}

} // namespace
} // namespace tool::test
