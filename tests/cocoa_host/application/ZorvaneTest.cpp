// The whole application on the Cocoa back end, with a server that answers on cue: it starts,
// watches over its server, hides and quits, and leaves nothing behind.
#include "tests/cocoa_host/application/DrivenProgram.h"
#include "tests/desktop/session/ProcessTree.h"
#include "tests/desktop/session/Waiting.h"
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/support/testchild/TestChild.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using cocoa_host::DrivenProgram;
using desktop::eventually;
using desktop::Process;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class ZorvaneOnCocoa : public testing::Test {
  protected:
    static void SetUpTestSuite() { desktop::adoptOrphans(); }
    void SetUp() override { application = launch(); }
    void TearDown() override {
        application.reset();
        EXPECT_TRUE(nothingIsLeft()) << desktop::describe(descendants());
    }

    static std::unique_ptr<DrivenProgram> launch(const std::string& path = ZORVANE_APPLICATION) {
        return std::make_unique<DrivenProgram>(
            std::vector<std::string>{path},
            DrivenProgram::Variables{{"OSTRA_DEV_NO_MOVE", "1"},
                                     {"OSTRA_SIDECAR", testchild::path().string()}});
    }
    bool isOnline() {
        return eventually([this] {
            const auto menu = application->ask("menu");
            return std::ranges::find(menu, "disabled Server: Online") != menu.end();
        });
    }
    // GNUstep's own servers stay for the session.
    static std::vector<Process> descendants() {
        auto all = desktop::descendants({});
        std::erase_if(all, [](const Process& process) {
            return process.command.find("gdnc") != std::string::npos ||
                   process.command.find("gpbs") != std::string::npos;
        });
        return all;
    }
    static bool nothingIsLeft() {
        return eventually([] { return descendants().empty(); });
    }
    static std::optional<pid_t> server() {
        for (const Process& process : descendants()) {
            if (process.state != 'Z' && process.command.starts_with(testchild::path().string())) {
                return process.pid;
            }
        }
        return std::nullopt;
    }

    std::unique_ptr<DrivenProgram> application;
};

TEST_F(ZorvaneOnCocoa, startsItsServerAndShowsIt) {
    ASSERT_TRUE(isOnline());
    ASSERT_TRUE(server());
    EXPECT_THAT(application->ask("windows"), ElementsAre("Zorvane"));
    const auto menu = application->ask("menu");
    EXPECT_THAT(menu.front(), StartsWith("disabled Zorvane "));
    const auto address = std::ranges::find_if(menu, [](const auto& line) {
        return line.starts_with("disabled Address: http://127.0.0.1:");
    });
    ASSERT_NE(address, menu.end());
    EXPECT_THAT(menu, Contains("item Restart Server"));
    EXPECT_EQ(menu.back(), "item Quit Zorvane & Stop Server");
    const std::string url = address->substr(std::string("disabled Address: ").size());
    EXPECT_THAT(application->ask("addresses"), ElementsAre(url));
    EXPECT_THAT(application->ask("choose Open Web App"), IsEmpty());
    EXPECT_THAT(application->ask("opened"), ElementsAre(url));
    EXPECT_THAT(application->ask("tool-tip").front(), HasSubstr("Server: Online"));
}

// Only an application in a bundle that it knows offers to move it.
TEST_F(ZorvaneOnCocoa, knowsItsBundleWhenItIsStartedByALink) {
    ASSERT_TRUE(isOnline());
    application->tell("choose Quit Zorvane & Stop Server");
    ASSERT_EQ(application->waitForExit(), 0);
    const test_support::TemporaryFolder elsewhere;
    std::filesystem::create_symlink(ZORVANE_APPLICATION, elsewhere / "zorvane");
    application = std::make_unique<DrivenProgram>(
        std::vector<std::string>{elsewhere / "zorvane"},
        DrivenProgram::Variables{{"OSTRA_SIDECAR", testchild::path().string()}});
    ASSERT_TRUE(eventually([this] { return application->ask("modal").front() == "yes"; }));
    application->tell("answer 1");
    EXPECT_TRUE(isOnline());
}

TEST_F(ZorvaneOnCocoa, startsAServerAnewThatDied) {
    ASSERT_TRUE(isOnline());
    const pid_t first = server().value();
    ::kill(first, SIGKILL);
    EXPECT_TRUE(eventually([&] {
        const auto menu = application->ask("menu");
        return std::ranges::find(menu, "disabled Server: Error") != menu.end();
    }));
    EXPECT_TRUE(eventually([&] { return server() && server() != first; }));
    EXPECT_TRUE(isOnline());
}

TEST_F(ZorvaneOnCocoa, hidesForTheQuitKeyAndComesBack) {
    ASSERT_TRUE(isOnline());
    EXPECT_THAT(application->ask("policy"), ElementsAre("regular"));
    EXPECT_THAT(application->ask("key q"), IsEmpty());
    EXPECT_THAT(application->ask("windows"), IsEmpty());
    EXPECT_THAT(application->ask("policy"), ElementsAre("accessory"));
    EXPECT_TRUE(server());
    EXPECT_THAT(application->ask("reopen"), ElementsAre("yes"));
    EXPECT_THAT(application->ask("windows"), ElementsAre("Zorvane"));
    EXPECT_THAT(application->ask("policy"), ElementsAre("regular"));
    EXPECT_THAT(application->ask("close"), IsEmpty());
    EXPECT_THAT(application->ask("windows"), IsEmpty());
    EXPECT_THAT(application->ask("choose Show Zorvane Window"), IsEmpty());
    EXPECT_THAT(application->ask("windows"), ElementsAre("Zorvane"));
}

TEST_F(ZorvaneOnCocoa, showsItsWindowWhenItIsStartedAgain) {
    ASSERT_TRUE(isOnline());
    const pid_t first = server().value();
    EXPECT_THAT(application->ask("key q"), IsEmpty());
    ASSERT_THAT(application->ask("windows"), IsEmpty());
    const auto second = launch();
    EXPECT_EQ(second->waitForExit(), 0);
    EXPECT_TRUE(eventually([&] { return !application->ask("windows").empty(); }));
    EXPECT_EQ(server(), first);
}

TEST_F(ZorvaneOnCocoa, endsByItsOwnQuitAndTakesTheServerAlong) {
    ASSERT_TRUE(isOnline());
    application->tell("choose Quit Zorvane & Stop Server");
    EXPECT_EQ(application->waitForExit(), 0);
    EXPECT_TRUE(nothingIsLeft()) << desktop::describe(descendants());
}

TEST_F(ZorvaneOnCocoa, endsWhenTheSystemShutsDown) {
    ASSERT_TRUE(isOnline());
    application->tell("quit shut");
    EXPECT_EQ(application->waitForExit(), 0);
    EXPECT_TRUE(nothingIsLeft()) << desktop::describe(descendants());
}

TEST_F(ZorvaneOnCocoa, endsByASignal) {
    ASSERT_TRUE(isOnline());
    application->signal(SIGTERM);
    EXPECT_EQ(application->waitForExit(), 0);
    EXPECT_TRUE(nothingIsLeft()) << desktop::describe(descendants());
}

TEST_F(ZorvaneOnCocoa, leavesNothingWhenItIsKilled) {
    ASSERT_TRUE(isOnline());
    application->signal(SIGKILL);
    EXPECT_EQ(application->waitForExit(), -SIGKILL);
    EXPECT_TRUE(nothingIsLeft()) << desktop::describe(descendants());
}

} // namespace
