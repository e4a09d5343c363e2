#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/tessel/RunTool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace tool::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

constexpr auto* report = R"({
  "app": "zorvane",
  "artifact": "mac-app",
  "build": "7",
  "channel": "release",
  "checks": [],
  "generatedAt": "2026-11-21T04:05:06.078Z",
  "metrics": {
    "checks": 0,
    "failed": 0,
    "passed": 0,
    "skipped": 0,
    "totalDurationMs": 0,
    "warnings": 0
  },
  "schemaVersion": "health-report@1",
  "sourceCommit": "",
  "status": "pass",
  "trigger": "manual",
  "version": "1.2.0"
}
)";

class HealthTest : public testing::Test {
  protected:
    [[nodiscard]] ToolResult health(std::vector<std::string> arguments,
                                    const std::string& input = {}) const {
        arguments.insert(arguments.begin(), "health");
        return runTool(arguments, input);
    }
    [[nodiscard]] std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(folder / name, std::ios::binary) << text;
        return folder / name;
    }
    [[nodiscard]] std::string read(const std::string& name) const {
        std::ifstream file(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    // A plan with these checks.
    [[nodiscard]] std::string plan(const std::string& checks, const std::string& more = "") const {
        return write("plan.json",
                     R"({"app":"zorvane","channel":"release","version":"1.2.0","build":"7",)"
                     R"("artifact":"mac-app",)" +
                         more + R"("checks":[)" + checks + "]}");
    }

    test_support::TemporaryFolder folder;
    const std::string root = folder / "reports";
};

TEST_F(HealthTest, validateSaysOkForAValidReport) {
    for (const auto& result : {health({"validate"}, report), health({"validate", "-"}, report),
                               health({"validate", write("report.json", report)})}) {
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.output, "ok\n");
    }
    EXPECT_EQ(health({"validate", "--json"}, report).output, "{\"ok\":true,\"errors\":[]}\n");
}

TEST_F(HealthTest, validatePrintsEveryMessageOnALine) {
    const auto result = health({"validate"}, R"({"note":"hello"})");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("content-bearing fields\n"));
    EXPECT_THAT(result.output, HasSubstr("bad app\n"));
    const auto json = health({"validate", "--json"}, "{");
    EXPECT_EQ(json.status, 1);
    EXPECT_EQ(json.output, "{\"ok\":false,\"errors\":[\"report is not valid JSON\"]}\n");
}

TEST_F(HealthTest, endsWithTwoWhenTheInputCannotBeRead) {
    for (const std::string file : {folder / "none", folder / ""}) {
        const auto result = health({"validate", file});
        EXPECT_EQ(result.status, 2) << file;
        EXPECT_THAT(result.output, IsEmpty());
        EXPECT_THAT(result.error, HasSubstr("cannot read"));
    }
    EXPECT_EQ(health({"record", "--root", root, folder / "none"}).status, 2);
    EXPECT_EQ(health({"run", "--root", root, "--config", folder / "none"}).status, 2);
    EXPECT_EQ(health({"record"}, report).status, 2) << "without --root";
}

TEST_F(HealthTest, recordPrintsTheKeyAndTheOthersFindTheReport) {
    const auto recorded = health({"record", "--root", root}, report);
    EXPECT_EQ(recorded.status, 0) << recorded.error;
    EXPECT_THAT(recorded.output, MatchesRegex("20261121040506078-[0-9a-f]{16}\n"));
    for (const auto* command : {"latest", "history", "pending"}) {
        EXPECT_EQ(health({command, "--root", root}).output, report) << command;
        EXPECT_EQ(health({command, "--root", root, "--keys"}).output, recorded.output) << command;
    }
    const std::vector<std::string> find{"find",      "--root", root,      "--app", "zorvane",
                                        "--version", "1.2.0",  "--build", "7"};
    EXPECT_EQ(health(find).output, report);
    auto other = find;
    other.insert(other.end(), {"--trigger", "periodic"});
    EXPECT_EQ(health(other).status, 1);
    other.back() = "manual";
    EXPECT_EQ(health(other).output, report);
    other.back() = "never";
    EXPECT_EQ(health(other).status, 2);
}

TEST_F(HealthTest, recordKeepsToItsLimits) {
    for (int build = 1; build <= 4; ++build) {
        std::string text = report;
        text.replace(text.find("\"7\""), 3, "\"" + std::to_string(build) + "\"");
        text.replace(text.find("06.078"), 2, "0" + std::to_string(build));
        const auto result = health({"record", "--root", root, "--history-limit", "3",
                                    "--pending-limit", "2", write("report.json", text)});
        EXPECT_EQ(result.status, 0) << result.error;
    }
    const auto lines = [](const std::string& text) { return std::ranges::count(text, '\n'); };
    EXPECT_EQ(lines(health({"history", "--root", root, "--keys"}).output), 3);
    EXPECT_EQ(lines(health({"pending", "--root", root, "--keys"}).output), 2);
}

TEST_F(HealthTest, recordRefusesWhatIsNotValid) {
    const auto result = health({"record", "--root", root}, "{}");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, IsEmpty());
    EXPECT_THAT(result.error, HasSubstr("tessel: bad app\n"));
    EXPECT_FALSE(std::filesystem::exists(root));
}

TEST_F(HealthTest, lookingMakesNoFolder) {
    for (const auto* command : {"latest", "history", "pending"}) {
        const auto result = health({command, "--root", root});
        EXPECT_EQ(result.status, 1) << command;
        EXPECT_THAT(result.error, HasSubstr("there is no folder"));
    }
    EXPECT_FALSE(std::filesystem::exists(root));
}

TEST_F(HealthTest, runTurnsExitStatusesIntoResults) {
    const auto file = plan(R"({"id":"a.pass","category":"unit","command":"echo '{\"rows\": 4}'"},)"
                           R"({"id":"b.warn","category":"smoke","command":"exit 75"},)"
                           R"({"id":"c.skip","category":"eval","command":"echo words; exit 77"})");
    const auto result = health({"run", "--root", root, "--config", file});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(health({"validate"}, result.output).output, "ok\n");
    EXPECT_THAT(result.output, HasSubstr("\"rows\": 4"));
    EXPECT_THAT(result.output, HasSubstr("\"trigger\": \"manual\""));
    EXPECT_THAT(result.output, HasSubstr("\"skipped\": 1"));
    EXPECT_THAT(result.output, HasSubstr("\"warnings\": 1"));
    EXPECT_EQ(health({"latest", "--root", root}).output, result.output);
}

TEST_F(HealthTest, runEndsWithOneWhenACheckFails) {
    for (const auto* command : {"exit 3", "kill -9 $$", "/no/such/program", "sleep 60"}) {
        const auto file = plan(std::string(R"({"id":"x","category":"unit","timeout":0.5,)") +
                               R"("command":")" + command + "\"}");
        const auto result = health({"run", "--root", root, "--config", file});
        EXPECT_EQ(result.status, 1) << command;
        EXPECT_THAT(result.output, HasSubstr("\"failed\": 1")) << command;
    }
}

TEST_F(HealthTest, runIfNeededRunsOnceForABuild) {
    const auto file = plan("", R"("periodicInterval":3600,)");
    const std::vector<std::string> run{"run", "--root", root, "--config", file, "--if-needed"};
    EXPECT_THAT(health(run).output, HasSubstr("\"trigger\": \"versionLaunch\""));
    const auto again = health(run);
    EXPECT_EQ(again.status, 0);
    EXPECT_THAT(again.output, IsEmpty());
}

TEST_F(HealthTest, runSubmitsThePendingReports) {
    const auto file = plan("");
    std::vector<std::string> run{"run", "--root", root, "--config", file, "--submit", "exit 1"};
    const auto first = health(run);
    EXPECT_EQ(first.status, 1) << "asked to submit, and did not";
    EXPECT_THAT(health({"pending", "--root", root}).output, Not(IsEmpty()));
    run.back() = "cat >> " + (folder / "taken").native();
    const auto second = health(run);
    EXPECT_EQ(read("taken"), first.output + second.output);
    EXPECT_THAT(health({"pending", "--root", root}).output, IsEmpty());
}

TEST_F(HealthTest, runSaysWhatIsWrongWithAPlan) {
    for (const auto& [text, words] : std::vector<std::pair<std::string, std::string>>{
             {"{", "not valid JSON"},
             {"[]", "not an object"},
             {"{\"more\":1}", "unknown key \"more\""},
             {"{}", "\"app\" is missing"},
         }) {
        const auto result = health({"run", "--root", root, "--config", write("p.json", text)});
        EXPECT_EQ(result.status, 2) << text;
        EXPECT_THAT(result.error, HasSubstr(words));
    }
    const auto check = [&](const std::string& text) {
        return health({"run", "--root", root, "--config", plan(text)});
    };
    EXPECT_THAT(check(R"({"id":"A","category":"unit","command":"true"})").error,
                HasSubstr("identifier"));
    EXPECT_THAT(check(R"({"id":"a","category":"none","command":"true"})").error,
                HasSubstr("\"none\""));
    EXPECT_THAT(check(R"({"id":"a","category":"unit","command":"true","timeout":0})").error,
                HasSubstr("timeout"));
    EXPECT_THAT(check(R"({"id":"a","category":"unit","command":"true"},)"
                      R"({"id":"a","category":"unit","command":"true"})")
                    .error,
                HasSubstr("check ids must be unique"));
    EXPECT_FALSE(std::filesystem::exists(root)) << "nothing is made for a plan that is wrong";
}

} // namespace
} // namespace tool::test
