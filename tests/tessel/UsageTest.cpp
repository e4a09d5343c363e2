// What the tool says to a command line that it does not understand, and its help.
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/tessel/RunTool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace tool::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

struct WrongUsage {
    std::vector<std::string> arguments;
    std::string said;
};

TEST(WrongUsage, namesWhatIsWrongAndWhatWasMeantPerhaps) {
    const std::vector<WrongUsage> table = {
        {{"vresion"}, "tessel has no command \"vresion\"; did you mean \"version\"?"},
        {{"cred"}, "tessel has no command \"cred\"; did you mean \"credentials\"?"},
        {{"zzzzzz"}, "tessel has no command \"zzzzzz\" (see \"tessel --help\")"},
        {{"health", "histroy"},
         "tessel health has no command \"histroy\"; did you mean \"history\"?"},
        {{"state", "cache", "gett", "x"},
         "tessel state cache has no command \"gett\"; did you mean \"get\"?"},
        {{"state", "--app", "x", "cache", "putt"}, "tessel state cache has no command \"putt\""},
        {{"health", "latest", "--rot", "x"},
         "tessel health latest has no option \"--rot\"; did you mean \"--root\"?"},
        {{"credentials", "show", "--ap=x"},
         "tessel credentials show has no option \"--ap\"; did you mean \"--app\"?"},
        {{"--nonsense"}, "tessel has no option \"--nonsense\" (see \"tessel --help\")"},
        {{}, "tessel needs a command: version, staged, state, "},
        {{"state", "cache"}, "tessel state cache needs a command: put, get, rm"},
        {{"version", "newer", "1"}, "B is required (see \"tessel version newer --help\")"},
        {{"credentials", "show"}, "--app is required"},
        {{"health", "find", "--root", "r", "--app", "a", "--version", "1", "--build", "2",
          "--trigger", "never"},
         "--trigger: never not in {releaseVerification,"},
        {{"health", "run", "--root", "r", "--config", "c", "--trigger", "never"}, "--trigger: "},
        {{"health", "record", "--root", "r", "--history-limit", "many"},
         "--history-limit: \"many\" is no whole number from 1 up"},
        {{"health", "record", "--root", "r", "--pending-limit", "0"}, "--pending-limit: \"0\""},
        {{"verify-url", "https://a.example", "--origin", "not a url"},
         "--origin: not a url is no URL"},
        {{"link", "--origin", "nowhere", "--app", "x"}, "--origin: nowhere is no URL with a host"},
        {{"help", "vresion"}, "did you mean \"version\"?"},
        {{"help", "version", "newer", "x"}, "tessel version newer has no command \"x\""},
    };
    for (const auto& [arguments, said] : table) {
        const auto result = runTool(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
        EXPECT_THAT(result.error, AllOf(StartsWith("tessel: "), HasSubstr(said)))
            << testing::PrintToString(arguments);
        EXPECT_EQ(std::ranges::count(result.error, '\n'), 1) << result.error;
        EXPECT_THAT(result.output, IsEmpty());
    }
}

TEST(WrongUsage, isAnApplicationNameThatLeavesItsFolder) {
    const test_support::TemporaryFolder folder;
    for (const std::string name : {"", ".", "..", "a/b", "/", "../x"}) {
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"state", "dir"},
              {"state", "cache", "put", "x"},
              {"credentials", "delete"},
              {"credentials", "show"},
              {"link", "--origin", "http://127.0.0.1:1"},
              {"origin", "--env-key", "K", "--placeholder", "https://p.example"}}) {
            auto arguments = command;
            arguments.insert(arguments.end(), {"--app", name});
            const auto result = runTool(
                arguments, {}, {{"XDG_DATA_HOME", folder / "data"}, {"HOME", folder / "home"}});
            EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
            EXPECT_THAT(result.error, HasSubstr("cannot be a folder's name"));
        }
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(GroupOptions, areTakenBeforeAndAfterTheCommand) {
    const test_support::TemporaryFolder folder;
    const std::map<std::string, std::string> environment{{"ELSEWHERE", folder / "state"}};
    const std::string expected = (folder / "state").native() + "\n";
    EXPECT_EQ(
        runTool({"state", "--app", "x", "--override-key", "ELSEWHERE", "dir"}, {}, environment)
            .output,
        expected);
    EXPECT_EQ(
        runTool({"state", "dir", "--app", "x", "--override-key=ELSEWHERE"}, {}, environment).output,
        expected);
    EXPECT_EQ(runTool({"state", "--app", "x", "cache", "put", "dir", "--override-key", "ELSEWHERE"},
                      "text", environment)
                  .status,
              0)
        << "a name that a command has too";
    EXPECT_EQ(runTool({"state", "cache", "get", "dir", "--override-key", "ELSEWHERE", "--app", "x"},
                      {}, environment)
                  .output,
              "text");
}

TEST(Help, isTheSameByCommandAndByOption) {
    EXPECT_EQ(runTool({"help"}).output, runTool({"--help"}).output);
    EXPECT_EQ(runTool({"help", "health", "run"}).output,
              runTool({"health", "run", "--help"}).output);
    EXPECT_EQ(runTool({"help", "state"}).output, runTool({"state", "-h"}).output);
    EXPECT_EQ(runTool({"help"}).status, 0);
}

TEST(Help, listsEveryOptionWithItsValues) {
    for (const std::vector<std::string>& command : {std::vector<std::string>{"credentials", "show"},
                                                    {"credentials", "delete"},
                                                    {"state", "cache", "put"},
                                                    {"link"},
                                                    {"origin"}}) {
        auto arguments = command;
        arguments.insert(arguments.begin(), "help");
        const auto help = runTool(arguments).output;
        EXPECT_THAT(help, HasSubstr("--app NAME")) << testing::PrintToString(command);
        EXPECT_THAT(help, HasSubstr("--override-key KEY")) << testing::PrintToString(command);
    }
    for (const auto* const command : {"run", "find"}) {
        EXPECT_THAT(
            runTool({"help", "health", command}).output,
            AllOf(HasSubstr("--trigger"), HasSubstr("versionLaunch"), HasSubstr("bootBeacon")));
    }
}

TEST(Version, isToldByTheShortOptionToo) {
    EXPECT_EQ(runTool({"-V"}).output, runTool({"--version"}).output);
    EXPECT_THAT(runTool({"-V"}).output, StartsWith("tessel "));
}

} // namespace
} // namespace tool::test
