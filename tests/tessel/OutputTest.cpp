// Standard output and standard error at the end of real things.
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/tessel/RunTool.h"
#include "tests/tessel/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace tool::test {
namespace {

using testing::IsEmpty;
using testing::StartsWith;

class TesselOutput : public testing::Test {
  protected:
    TesselOutput() {
        std::ofstream(folder / "report.json") << "{}";
        std::ofstream(folder / "state-cache") << std::string(100'000, 'x');
        EXPECT_EQ(
            runTool({"state", "cache", "put", "big", folder / "state-cache", "--app", "My App"}, {},
                    environment)
                .status,
            0);
        printing = {
            {"version", "newer", "2", "1"},
            {"version", "newer", "1", "2"},
            {"staged", "best", "--newer-than", "1", "ostrad-2"},
            {"state", "dir", "--app", "My App"},
            {"state", "cache", "get", "big", "--app", "My App"},
            {"health", "validate", folder / "report.json"},
            {"health", "validate", "--json", folder / "report.json"},
            {"verify-url", "https://a.example/", "--origin", "https://a.example"},
            {"origin", "--env-key", "K", "--placeholder", "https://p.example"},
            {"completion", "bash"},
            {"manual"},
            {"help"},
            {"--help"},
            {"health", "run", "--help"},
            {"--version"},
        };
    }

    test_support::TemporaryFolder folder;
    const std::map<std::string, std::string> environment{{"MY_APP_STATE_DIR", folder / "state"}};
    std::vector<std::vector<std::string>> printing;
};

TEST_F(TesselOutput, thatDoesNotFitFailsEveryCommandWithOneSentence) {
    for (const auto& arguments : printing) {
        ToolProcess tool(arguments, {.output = Stream::full}, environment);
        EXPECT_EQ(tool.wait(), 1) << testing::PrintToString(arguments);
        EXPECT_EQ(tool.error(), "tessel: cannot write to standard output: File too large\n")
            << testing::PrintToString(arguments);
    }
}

TEST_F(TesselOutput, thatNobodyReadsEndsEveryCommandQuietly) {
    for (const auto& arguments : printing) {
        ToolProcess tool(arguments, {.output = Stream::gonePipe}, environment);
        EXPECT_EQ(tool.wait(), 141) << testing::PrintToString(arguments);
        EXPECT_THAT(tool.error(), IsEmpty()) << testing::PrintToString(arguments);
    }
}

TEST_F(TesselOutput, thatIsClosedFailsEveryCommand) {
    for (const auto& arguments : printing) {
        ToolProcess tool(arguments, {.output = Stream::closed}, environment);
        EXPECT_EQ(tool.wait(), 1) << testing::PrintToString(arguments);
        EXPECT_THAT(tool.error(), StartsWith("tessel: cannot write to standard output: "));
    }
}

TEST_F(TesselOutput, changesNoStatusWhenThereIsNothingToPrint) {
    for (const Stream output : {Stream::full, Stream::gonePipe, Stream::closed}) {
        ToolProcess removes({"state", "cache", "rm", "none", "--app", "My App"}, {.output = output},
                            environment);
        EXPECT_EQ(removes.wait(), 0);
        EXPECT_THAT(removes.error(), IsEmpty());
    }
}

TEST_F(TesselOutput, needsNobodyWhoReadsTheErrors) {
    for (const Stream error : {Stream::gonePipe, Stream::full, Stream::closed}) {
        ToolProcess absent({"state", "cache", "get", "none", "--app", "My App"}, {.error = error},
                           environment);
        EXPECT_EQ(absent.wait(), 1);
        ToolProcess unknown({"nonsense"}, {.error = error});
        EXPECT_EQ(unknown.wait(), 2);
        ToolProcess full({"version", "newer", "2", "1"}, {.output = Stream::full, .error = error});
        EXPECT_EQ(full.wait(), 1);
    }
}

} // namespace
} // namespace tool::test
