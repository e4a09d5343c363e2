// tessel health as a person and a pipeline see it: checks that flood, hang and fail, interrupts,
// submission, terminals; and commands that only look.
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/tessel/RunTool.h"
#include "tests/tessel/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <thread>

namespace tool::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return condition();
}

class HealthCommand : public testing::Test {
  protected:
    [[nodiscard]] ToolResult health(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "health");
        arguments.insert(arguments.end(), {"--root", root});
        return runTool(arguments);
    }
    [[nodiscard]] std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(folder / name, std::ios::binary) << text;
        return folder / name;
    }
    [[nodiscard]] std::string read(const std::string& name) const {
        std::ifstream file(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    // A plan whose checks are these scripts, one, two and so on, with that much time each.
    [[nodiscard]] std::string plan(const std::vector<std::string>& scripts,
                                   const std::string& seconds = "30") const {
        std::string checks;
        int number = 0;
        for (const std::string& script : scripts) {
            ++number;
            const std::string file = write("check" + std::to_string(number) + ".sh", script + "\n");
            checks += (checks.empty() ? "" : ",");
            checks += R"({"id":"check.)" + std::to_string(number) +
                      R"(","category":"smoke","timeout":)" + seconds + R"(,"command":"exec sh )" +
                      file + R"("})";
        }
        return write("plan.json",
                     R"({"app":"zorvane","channel":"release","version":"1.2.0","build":"7",)"
                     R"("artifact":"mac-app","checks":[)" +
                         checks + "]}");
    }
    [[nodiscard]] ToolResult run(const std::vector<std::string>& scripts,
                                 const std::string& seconds = "30") const {
        return health({"run", "--config", plan(scripts, seconds)});
    }
    [[nodiscard]] std::vector<std::string> runArguments(const std::string& file) const {
        return {"health", "run", "--root", root, "--config", file};
    }

    test_support::TemporaryFolder folder;
    const std::string root = folder / "reports";
};

TEST_F(HealthCommand, runLetsACheckPrintAnyAmount) {
    const std::string flood = "head -c 3000000 /dev/zero | tr '\\0' x";
    const auto result = run({flood, flood + " >&2", flood + " & " + flood + " >&2; wait"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.output, HasSubstr("\"passed\": 3"));
}

TEST_F(HealthCommand, runTakesNoMetricsFromOutputThatWasCut) {
    const auto result = run({"printf '{\"rows\": 4}'; head -c 3000000 /dev/zero | tr '\\0' ' '"});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(result.output, Not(HasSubstr("rows")));
}

TEST_F(HealthCommand, runExplainsAFailingCheckAndKeepsThatOutOfTheReport) {
    const auto failed = run({"for i in 1 2 3 4 5 6 7 8 9 10 11 12; do echo line $i; done; "
                             "printf 'secret \\033[31m\\n' >&2; exit 3"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.error, StartsWith("tessel: check check.1 failed: exit status 3\n"));
    EXPECT_THAT(failed.error, HasSubstr("\n    line 12\n    secret \\x1b[31m\n"));
    EXPECT_THAT(failed.error, Not(HasSubstr("line 3\n")));
    EXPECT_THAT(failed.output, Not(HasSubstr("secret")));
    EXPECT_THAT(run({"kill -9 $$"}).error,
                HasSubstr("tessel: check check.1 failed: signal 9 (Killed)\n"));
    const auto late = run({"echo begun; exec sleep 1000"}, "0.2");
    EXPECT_THAT(late.error,
                HasSubstr("tessel: check check.1 failed: no end within 0.2 s\n    begun\n"));
    EXPECT_THAT(run({"exit 0", "exit 75", "exit 77"}).error, IsEmpty());
}

TEST_F(HealthCommand, runLearnsHowACheckEndsThoughWhoStartedItIgnoresThat) {
    ToolProcess tool(runArguments(plan({"exit 7"})), {}, {},
                     {"perl", "-e", "$SIG{CHLD} = 'IGNORE'; exec @ARGV", TESSEL_EXECUTABLE});
    EXPECT_EQ(tool.wait(), 1);
    EXPECT_THAT(tool.error(), HasSubstr("check.1 failed: exit status 7\n"));
}

// Whatever it opens itself has other numbers than those: what it prints gets nowhere else.
TEST_F(HealthCommand, runPutsNothingOfItsOwnWhereADescriptorWasClosed) {
    const std::string look =
        "for number in 0 1 2; do if [ -e /proc/$PPID/fd ]; then readlink /proc/$PPID/fd/$number; "
        "else lsof -a -p $PPID -d $number -Fn | sed -n 's/^n//p'; fi; done > " +
        (folder / "held").native() + "; exit 1";
    const std::string file = plan({look, "exit 1"});
    for (const auto& [redirection, closed] :
         {std::pair("<&-", std::vector<std::size_t>{0}),
          std::pair(">&-", std::vector<std::size_t>{1}),
          std::pair("2>&-", std::vector<std::size_t>{2}),
          std::pair("<&- >&- 2>&-", std::vector<std::size_t>{0, 1, 2})}) {
        ToolProcess tool(
            runArguments(file), {}, {},
            {"/bin/sh", "-c", std::string("exec \"$0\" \"$@\" ") + redirection, TESSEL_EXECUTABLE});
        EXPECT_EQ(tool.wait(), 1) << redirection;
        std::vector<std::string> held;
        std::istringstream lines(read("held"));
        for (std::string line; std::getline(lines, line);) {
            held.push_back(line);
        }
        ASSERT_EQ(held.size(), 3U) << redirection;
        for (const std::size_t number : closed) {
            EXPECT_EQ(held[number], "/dev/null") << redirection << " " << number;
        }
        EXPECT_THAT(health({"latest", "--json"}).output, HasSubstr("\"failed\": 2"));
        std::filesystem::remove_all(root);
    }
}

TEST_F(HealthCommand, runEndsTheWholeGroupOfACheckWhenItIsInterrupted) {
    const std::string script = "sleep 1000 & echo $! > " + (folder / "child").native() +
                               ".new && mv " + (folder / "child").native() + ".new " +
                               (folder / "child").native() + "; wait";
    for (const auto& [signal, status] : {std::pair(SIGINT, 130), std::pair(SIGTERM, 143)}) {
        std::filesystem::remove(folder / "child");
        ToolProcess tool(runArguments(plan({script, "touch " + (folder / "next").native()})));
        ASSERT_TRUE(eventually([&] { return std::filesystem::exists(folder / "child"); }));
        const pid_t child = std::stoi(read("child"));
        tool.signal(signal);
        EXPECT_EQ(tool.wait(), status);
        EXPECT_EQ(tool.error(), "tessel: interrupted; nothing was recorded\n");
        EXPECT_THAT(tool.output(), IsEmpty());
        // Its parent is gone as well: whoever adopted it reaps it in a moment.
        EXPECT_TRUE(eventually([&] { return ::kill(child, 0) != 0; }));
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "next")) << "no further check is begun";
    EXPECT_TRUE(std::filesystem::is_empty(folder / "reports/history"));
}

TEST_F(HealthCommand, runSaysWhenAReportWasNotTaken) {
    const auto failed = health({"run", "--config", plan({"true"}), "--submit",
                                "cat >/dev/null; echo no route >&2; exit 7"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.error, MatchesRegex("tessel: report [0-9]{17}-[0-9a-f]{16} was not taken: "
                                           "exit status 7\n    no route\n"));
    EXPECT_THAT(failed.output, HasSubstr("\"status\": \"pass\""));
}

TEST_F(HealthCommand, flushSendsWhatIsPending) {
    const auto first = run({"true"});
    const auto second = run({"true", "exit 75"});
    const auto failed = health({"flush", "--submit", "exit 22"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.error, HasSubstr("was not taken: exit status 22\n"));
    const std::string taken = folder / "taken";
    const auto sent = health({"flush", "--submit", "cat >> '" + taken + "'"});
    EXPECT_EQ(sent.status, 0) << sent.error;
    EXPECT_THAT(sent.error, IsEmpty());
    EXPECT_EQ(read("taken"), first.output + second.output);
    EXPECT_THAT(health({"pending"}).output, IsEmpty());
    EXPECT_EQ(health({"flush", "--submit", "cat >> '" + taken + "'"}).status, 0);
    EXPECT_EQ(read("taken"), first.output + second.output) << "nothing twice";
    EXPECT_EQ(runTool({"health", "flush", "--root", folder / "none", "--submit", "true"}).status,
              1);
    EXPECT_FALSE(std::filesystem::exists(folder / "none"));
    EXPECT_EQ(health({"flush"}).status, 2) << "without --submit";
}

TEST_F(HealthCommand, looksWithoutChangingAnything) {
    ASSERT_EQ(run({"true"}).status, 0);
    std::filesystem::remove_all(root + "/pending");
    const std::string unfinished = root + "/.latest.json.tmp-00000000-0000-4000-8000-000000000000";
    std::ofstream(unfinished) << "half";
    for (const auto& place : {root, root + "/history"}) {
        ASSERT_EQ(::chmod(place.c_str(), 0755), 0);
    }
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"latest"},
          {"history"},
          {"pending"},
          {"find", "--app", "zorvane", "--version", "1.2.0", "--build", "7"}}) {
        EXPECT_EQ(health(command).status, 0) << command.front();
        for (const auto& place : {root, root + "/history"}) {
            struct stat status{};
            ASSERT_EQ(::stat(place.c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 07777, 0755U) << command.front();
        }
        EXPECT_FALSE(std::filesystem::exists(root + "/pending")) << command.front();
        EXPECT_TRUE(std::filesystem::exists(unfinished)) << command.front();
    }
}

TEST_F(HealthCommand, saysThatThereIsNoReportOrNoneThatCanBeRead) {
    std::filesystem::create_directory(root);
    const auto empty = health({"latest"});
    EXPECT_EQ(empty.status, 1);
    EXPECT_EQ(empty.error, "tessel: there is no report in " + root + "\n");
    std::ofstream(root + "/latest.json") << "{}";
    const auto damaged = health({"latest"});
    EXPECT_EQ(damaged.status, 1);
    EXPECT_EQ(damaged.error, "tessel: " + root + "/latest.json holds no report that can be read\n");
    const auto none = health({"find", "--app", "a", "--version", "1", "--build", "2"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.error, "tessel: there is no such report in " + root + "\n");
    const auto file = runTool({"health", "latest", "--root", root + "/latest.json"});
    EXPECT_EQ(file.status, 1);
    EXPECT_THAT(file.error, HasSubstr("there is no folder"));
}

TEST_F(HealthCommand, showsATableOnATerminalAndJsonToScripts) {
    ASSERT_EQ(run({"echo '{\"rows\": 4}'", "exit 75"}).status, 0);
    const auto onTerminal = [this](std::vector<std::string> arguments,
                                   const std::map<std::string, std::string>& environment = {}) {
        arguments.insert(arguments.begin(), "health");
        arguments.insert(arguments.end(), {"--root", root});
        ToolProcess tool(arguments, {.output = Stream::terminal}, environment);
        EXPECT_EQ(tool.wait(), 0) << tool.error();
        return tool.output();
    };
    const std::string latest = onTerminal({"latest"});
    EXPECT_THAT(latest, StartsWith("zorvane 1.2.0 (7)  release  mac-app  manual  "));
    EXPECT_THAT(latest, HasSubstr("\x1b[33mwarning\x1b[0m\r\n"));
    EXPECT_THAT(latest, HasSubstr("check.1  smoke     \x1b[32mpass   \x1b[0m  "));
    EXPECT_THAT(latest, HasSubstr("rows=4\r\n"));
    const std::string history = onTerminal({"history"});
    EXPECT_THAT(history, AllOf(StartsWith("MADE "), HasSubstr("1 passed, 1 warned\r\n")));
    EXPECT_THAT(onTerminal({"latest"}, {{"NO_COLOR", "1"}}),
                AllOf(HasSubstr("  warning\r\n"), Not(HasSubstr("\x1b"))));
    EXPECT_THAT(onTerminal({"latest"}, {{"TERM", "dumb"}}), Not(HasSubstr("\x1b")));
    EXPECT_THAT(onTerminal({"latest"}, {{"NO_COLOR", ""}}), HasSubstr("\x1b"));
    for (const auto* const command : {"latest", "history"}) {
        EXPECT_THAT(onTerminal({command, "--json"}), StartsWith("{\r\n"));
        EXPECT_THAT(health({command}).output, StartsWith("{\n"));
        EXPECT_EQ(health({command}).output, health({command, "--json"}).output);
    }
}

TEST_F(HealthCommand, tellsATerminalHowFarTheChecksAre) {
    ToolProcess tool(runArguments(plan({"true", "exit 3"})), {.error = Stream::terminal});
    EXPECT_EQ(tool.wait(), 1);
    EXPECT_THAT(tool.error(), HasSubstr("[1/2] check.1 ... \x1b[32mpass\x1b[0m ("));
    EXPECT_THAT(tool.error(), HasSubstr("[2/2] check.2 ... \x1b[31mfail\x1b[0m ("));
    EXPECT_THAT(tool.error(), HasSubstr("tessel: check check.2 failed: exit status 3\r\n"));
    EXPECT_THAT(run({"true"}).error, IsEmpty()) << "a file is told nothing of it";
}

} // namespace
} // namespace tool::test
