#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/tessel/RunTool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

namespace tool::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class TesselState : public testing::Test {
  protected:
    ToolResult state(std::vector<std::string> arguments, const std::string& input = {}) {
        return run("state", std::move(arguments), input);
    }
    ToolResult credentials(std::vector<std::string> arguments) {
        return run("credentials", std::move(arguments), {});
    }
    ToolResult run(const std::string& group, std::vector<std::string> arguments,
                   const std::string& input) {
        arguments.insert(arguments.begin(), {group, "--app", "My App"});
        return runTool(arguments, input, {{"MY_APP_STATE_DIR", folder / "state"}});
    }

    test_support::TemporaryFolder folder;
};

TEST_F(TesselState, printsTheFolderItMade) {
    const auto dir = state({"dir"});
    EXPECT_EQ(dir.status, 0);
    EXPECT_EQ(dir.output, (folder / "state").string() + "\n");
    struct stat status{};
    ASSERT_EQ(::lstat((folder / "state").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
}

TEST_F(TesselState, takesAnotherVariableWhenItIsTold) {
    const auto dir = runTool({"state", "--app", "x", "--override-key", "ELSEWHERE", "dir"}, {},
                             {{"ELSEWHERE", folder / "other"}});
    EXPECT_EQ(dir.output, (folder / "other").string() + "\n");
}

TEST_F(TesselState, keepsBytesUnderAName) {
    const std::string bytes("a\0b\n", 4);
    EXPECT_EQ(state({"cache", "put", "name"}, bytes).status, 0);
    const auto got = state({"cache", "get", "name"});
    EXPECT_EQ(got.output, bytes);
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(state({"cache", "put", "copy", folder / "state/name"}).status, 0);
    EXPECT_EQ(state({"cache", "get", "copy"}).output, bytes);
    EXPECT_EQ(state({"cache", "rm", "name"}).status, 0);
    EXPECT_EQ(state({"cache", "rm", "name"}).status, 0);
    const auto gone = state({"cache", "get", "name"});
    EXPECT_EQ(gone.status, 1);
    EXPECT_THAT(gone.output, IsEmpty());
    EXPECT_EQ(gone.error, "tessel: there is no cache name\n");
}

TEST_F(TesselState, saysWhatItCannotKeep) {
    EXPECT_EQ(state({"cache", "put", "trash"}, "x").status, 1) << "a folder has that name";
    EXPECT_EQ(state({"cache", "put", "name", folder / "absent"}).error,
              "tessel: cannot read " + (folder / "absent").string() +
                  ": No such file or directory\n");
}

TEST_F(TesselState, setsThingsAside) {
    std::ofstream(folder / "old") << "x";
    const auto moved = state({"trash", folder / "old"});
    EXPECT_EQ(moved.status, 0);
    EXPECT_THAT(moved.output, HasSubstr((folder / "state/trash/").string()));
    EXPECT_FALSE(std::filesystem::exists(folder / "old"));
    EXPECT_EQ(state({"trash", folder / "old"}).status, 1);
}

TEST_F(TesselState, showsCredentialsButTheTokenOnlyWhenAsked) {
    EXPECT_EQ(credentials({"show"}).error, "tessel: there are no credentials\n");
    EXPECT_EQ(credentials({"show"}).status, 1);
    state({"cache", "put", "credentials.json"},
          R"({"token":"secret","serverOrigin":"https://a.example","tokenName":"n",)"
          R"("linkedAt":"2025-01-31T09:12:44Z"})");
    const auto shown = credentials({"show"});
    EXPECT_EQ(shown.output,
              "token name: n\nserver: https://a.example\nlinked at: 2025-01-31T09:12:44Z\n");
    EXPECT_EQ(credentials({"show", "--json"}).output,
              R"({"linkedAt":"2025-01-31T09:12:44Z","serverOrigin":"https://a.example",)"
              R"("tokenName":"n"})"
              "\n");
    EXPECT_THAT(credentials({"show", "--reveal"}).output, HasSubstr("token: secret\n"));
    EXPECT_THAT(credentials({"show", "--json", "--reveal"}).output,
                HasSubstr(R"("token":"secret")"));
    EXPECT_EQ(credentials({"delete"}).status, 0);
    EXPECT_EQ(credentials({"delete"}).status, 0);
    EXPECT_EQ(credentials({"show"}).status, 1);
}

TEST(TesselOrigin, printsTheFirstSourceThatQualifies) {
    const std::vector<std::string> asked{"origin", "--env-key", "MY_ORIGIN", "--placeholder",
                                         "https://p.example"};
    EXPECT_EQ(runTool(asked).output, "https://p.example\n");
    EXPECT_EQ(runTool(asked, {}, {{"MY_ORIGIN", "https://e.example/x"}}).output,
              "https://e.example/x\n");
    EXPECT_EQ(runTool({"origin", "--env-key", "K", "--placeholder", "no url"}).status, 2);
}

TEST(TesselOrigin, takesTheHostOfTheUpdateFeedInAnInfoDictionary) {
    const test_support::TemporaryFolder folder;
    const std::string info = folder / "Info.plist";
    const auto originFor = [&](const std::string& values) {
        std::ofstream(info) << R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)"
                            << values << "</plist>";
        return runTool({"origin", "--env-key", "MY_ORIGIN", "--placeholder", "https://p.example",
                        "--info", info});
    };
    EXPECT_EQ(originFor("<dict><key>SUFeedURL</key>"
                        "<string>https://f.example:444/appcast.xml</string></dict>")
                  .output,
              "https://f.example:444\n");
    EXPECT_EQ(originFor("<dict><key>SUFeedURL</key><true/></dict>").output, "https://p.example\n");
    EXPECT_EQ(originFor("<dict/>").output, "https://p.example\n");
    const auto noDictionary = originFor("<array/>");
    EXPECT_EQ(noDictionary.status, 1);
    EXPECT_THAT(noDictionary.error, HasSubstr("tessel: cannot "));
    EXPECT_THAT(noDictionary.error, HasSubstr(info));
    EXPECT_THAT(noDictionary.output, IsEmpty());
    std::filesystem::remove(info);
    const auto missing = runTool(
        {"origin", "--env-key", "MY_ORIGIN", "--placeholder", "https://p.example", "--info", info});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.error, HasSubstr("No such file"));
}

TEST(TesselVerifyUrl, exitsWithItsAnswer) {
    const auto good =
        runTool({"verify-url", "https://a.example/link", "--origin", "https://a.example"});
    EXPECT_EQ(good.output, "true\n");
    EXPECT_EQ(good.status, 0);
    const auto bad =
        runTool({"verify-url", "http://127.0.0.1.evil/", "--origin", "http://127.0.0.1"});
    EXPECT_EQ(bad.output, "false\n");
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(runTool({"verify-url", "https://a.example"}).status, 2);
}

TEST(TesselLink, saysWhyItCouldNotStart) {
    const test_support::TemporaryFolder folder;
    const auto failed = runTool({"link", "--origin", "ftp://127.0.0.1", "--app", "My App"}, {},
                                {{"MY_APP_STATE_DIR", folder.path()}});
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.error, HasSubstr("tessel: Could not start linking: network: "));
    EXPECT_THAT(failed.output, IsEmpty());
    EXPECT_EQ(runTool({"link", "--origin", "nowhere", "--app", "My App"}).status, 2);
}

TEST(TesselGroups, helpWithExamples) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"state", "--app", "x", "dir", "--help"},
          {"state", "--app", "x", "cache", "put", "--help"},
          {"credentials", "--app", "x", "show", "--help"},
          {"origin", "--help"},
          {"verify-url", "--help"},
          {"link", "--help"}}) {
        const auto help = runTool(arguments);
        EXPECT_EQ(help.status, 0) << testing::PrintToString(arguments);
        EXPECT_THAT(help.output, HasSubstr("Examples:"));
    }
}

} // namespace
} // namespace tool::test
