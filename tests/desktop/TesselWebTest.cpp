// tessel web against the server in the box: the page that asks whether the window may connect, the
// click on its button, and the line that is printed.
#include "tests/desktop/session/DesktopSession.h"
#include "tests/desktop/session/Waiting.h"
#include "tests/support/loopback/LoopbackServer.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>

namespace desktop {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;

constexpr const char* connectTitle = "Connect this window - Zorvane";

class TesselWeb : public ::testing::Test {
  protected:
    void SetUp() override {
        server_ = session.start(
            {OSTRAD_EXECUTABLE, "-addr", "127.0.0.1:0", "-db", session.folder() / "server.db"},
            "server");
        ASSERT_TRUE(eventually([&] { return !origin().empty(); })) << server_->standardError();
        writeConfig(origin(), "/connect");
    }

    void TearDown() override {
        if (HasFailure()) {
            const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
            session.keepEvidence(ZORVANE_FAILURES_DIR,
                                 fmt::format("{}.{}", test->test_suite_name(), test->name()));
        }
    }

    void writeConfig(const std::string& of, const std::string& startPath) const {
        std::ofstream(file()) << fmt::format(
            R"({{"origin": "{}", "startPath": "{}", "needsToken": true,
 "deviceName": "Studio", "windowTitle": "Studio", "authHosts": [], "mintPath": "/api/link/mint",
 "clientFlagGlobal": "isStudio", "deviceGlobal": "studioDevice",
 "needsTokenGlobal": "studioNeedsToken", "bridgeName": "studio", "appCookieName": "studio_app",
 "appHeaderName": "x-ostrad-app", "userAgent": "Studio/1.0"}})",
            of, startPath);
    }

    void makeDefaultBrowser(const std::string& script) const {
        namespace fs = std::filesystem;
        const auto program = session.folder() / "browser";
        std::ofstream(program) << script;
        fs::permissions(program, fs::perms::owner_all);
        fs::create_directories(session.dataHome() / "applications");
        std::ofstream(session.dataHome() / "applications/browser.desktop")
            << "[Desktop Entry]\nType=Application\nName=Browser\n"
            << "MimeType=x-scheme-handler/http;\nExec=" << program.native() << " %u\n";
        fs::create_directories(session.configHome());
        std::ofstream(session.configHome() / "mimeapps.list")
            << "[Default Applications]\nx-scheme-handler/http=browser.desktop\n";
    }

    [[nodiscard]] std::string file() const { return session.folder() / "studio.json"; }

    // As the server says it, without a slash at the end.
    [[nodiscard]] std::string origin() const {
        const std::string said = server_->standardOutput() + server_->standardError();
        const auto start = said.find("http://");
        const auto end = said.find('/', start + std::string_view("http://").size());
        return start == std::string::npos || end == std::string::npos
                   ? std::string()
                   : said.substr(start, end - start);
    }

    std::unique_ptr<Program> open(std::vector<std::string> options = {}) {
        std::vector<std::string> command{TESSEL_EXECUTABLE, "web"};
        command.insert(command.end(), options.begin(), options.end());
        command.push_back(file());
        return session.start(command, fmt::format("tessel-{}", ++launches_));
    }

    [[nodiscard]] bool shows(const std::string& title) const {
        return eventually([&] { return session.visibleWindow(title).has_value(); });
    }

    // The button stands in the lower half of the page, in the middle; where exactly is up to the
    // fonts. A click beside it does nothing.
    [[nodiscard]] bool connects(const Program& tool) const {
        return connects([&] { return !tool.standardOutput().empty(); });
    }
    [[nodiscard]] bool connects(const std::function<bool()>& hasConnected) const {
        const std::string window = session.visibleWindow(connectTitle).value_or("");
        session.focus(window);
        const WindowGeometry area = session.geometry(window);
        int step = 0;
        return eventually([&] {
            session.click(window, area.width / 2, area.height * (60 + step++ % 5 * 3) / 100);
            return eventually(hasConnected, std::chrono::milliseconds(300));
        });
    }

    DesktopSession session;

  private:
    std::unique_ptr<Program> server_;
    int launches_ = 0;
};

TEST_F(TesselWeb, printsOneLineWithoutTheTokenWhenThePageConnects) {
    const auto tool = open();
    ASSERT_TRUE(shows(connectTitle)) << tool->standardError();
    EXPECT_THAT(tool->standardOutput(), IsEmpty());
    ASSERT_TRUE(connects(*tool)) << tool->standardError();
    const std::string line = fmt::format("{{\"event\":\"linked\",\"origin\":\"{}\"}}\n", origin());
    EXPECT_EQ(tool->standardOutput(), line);
    session.close(session.visibleWindow(connectTitle).value_or(""));
    EXPECT_EQ(tool->waitForExit(patience), 0);
    EXPECT_EQ(tool->standardOutput(), line);
}

TEST_F(TesselWeb, printsTheTokenWhenItIsToBeRevealed) {
    const auto tool = open({"--reveal"});
    ASSERT_TRUE(shows(connectTitle)) << tool->standardError();
    ASSERT_TRUE(connects(*tool)) << tool->standardError();
    EXPECT_THAT(
        tool->standardOutput(),
        MatchesRegex(fmt::format(
            "\\{{\"event\":\"linked\",\"origin\":\"{}\",\"token\":\"[^\"]+\"\\}}\n", origin())));
    tool->signal(SIGTERM);
    EXPECT_EQ(tool->waitForExit(patience), 0);
}

// The token is lost then, and nobody shall believe that it was handed over.
TEST_F(TesselWeb, failsWhenWhatItPrintsGetsNowhere) {
    const auto opened = [&](const std::string& name, const std::string& script) {
        return session.start({"/bin/sh", "-c", script, TESSEL_EXECUTABLE, "web", file()}, name);
    };
    const auto endsOnceThePageConnects = [&](Program& tool) {
        return shows(connectTitle) && connects([&] { return !tool.isRunning(); });
    };
    const auto full = opened("full", "exec \"$0\" \"$@\" >/dev/full");
    EXPECT_TRUE(endsOnceThePageConnects(*full)) << full->standardError();
    EXPECT_EQ(full->waitForExit(patience), 1);
    EXPECT_THAT(full->standardError(),
                HasSubstr("tessel: cannot write to standard output: No space left on device\n"));
    const auto unread = opened("unread", "{ \"$0\" \"$@\"; echo \"status $?\" >&2; } | true");
    EXPECT_TRUE(endsOnceThePageConnects(*unread)) << unread->standardError();
    EXPECT_EQ(unread->waitForExit(patience), 0);
    EXPECT_THAT(unread->standardError(), HasSubstr("status 141\n"));
}

TEST_F(TesselWeb, bringsTheApplicationToTheFrontThatIsOpenAlready) {
    const auto tool = open();
    ASSERT_TRUE(shows(connectTitle)) << tool->standardError();
    const auto second = open();
    EXPECT_EQ(second->waitForExit(patience), 0) << second->standardError();
    EXPECT_TRUE(tool->isRunning());
}

TEST_F(TesselWeb, saysThatThereIsNoDisplay) {
    session.environment.erase("DISPLAY");
    session.environment.erase("WAYLAND_DISPLAY");
    const auto tool = open();
    EXPECT_EQ(tool->waitForExit(patience), 1);
    EXPECT_THAT(tool->standardError(), HasSubstr("tessel: no usable display"));
    EXPECT_THAT(tool->standardOutput(), IsEmpty());
}

class TesselWebWithoutNamespaces : public TesselWeb {
  protected:
    void SetUp() override {
        TesselWeb::SetUp();
        session.useInsteadOfBubblewrap("#!/bin/sh\necho 'bwrap: No permissions' >&2\nexit 1\n");
    }
};

TEST_F(TesselWebWithoutNamespaces, showsPagesOfThisComputerAndSaysSo) {
    const auto tool = open();
    ASSERT_TRUE(shows(connectTitle)) << tool->standardError();
    EXPECT_THAT(tool->standardError(),
                MatchesRegex("[^\n]*pages run without a sandbox: bwrap: No permissions\n"));
}

TEST_F(TesselWebWithoutNamespaces, refusesPagesOfOtherComputersInOneSentence) {
    writeConfig("http://media.invalid", "/");
    const auto tool = open();
    EXPECT_EQ(tool->waitForExit(patience), 1);
    EXPECT_EQ(tool->standardError(),
              "tessel: this system has no sandbox for pages of media.invalid (bwrap: No "
              "permissions); --no-sandbox shows them without one\n");
    EXPECT_THAT(tool->standardOutput(), IsEmpty());
    EXPECT_TRUE(eventually([&] { return session.processesNamed("zorvane-window").empty(); }));
}

TEST_F(TesselWebWithoutNamespaces, showsThemAllWhenItIsToldTo) {
    writeConfig("http://media.invalid", "/");
    const auto tool = open({"--no-sandbox"});
    EXPECT_TRUE(shows("Studio")) << tool->standardError();
    EXPECT_TRUE(eventually([&] { return !session.processesNamed("WebKitWebProcess").empty(); }));
    EXPECT_TRUE(tool->isRunning());
    EXPECT_THAT(tool->standardError(), Not(HasSubstr("sandbox")));
}

TEST_F(TesselWeb, showsPagesOfOtherComputersInTheSandbox) {
    writeConfig("http://media.invalid", "/");
    const auto tool = open();
    EXPECT_TRUE(shows("Studio")) << tool->standardError();
    EXPECT_TRUE(eventually([&] { return !session.processesNamed("bwrap").empty(); }));
    EXPECT_THAT(tool->standardError(), Not(HasSubstr("sandbox")));
}

// The desktop's handler for web pages is a script that keeps the address it is given.
TEST_F(TesselWeb, handsALinkToAnotherHostToTheDesktop) {
    test_support::LoopbackServer site([](const test_support::LoopbackServer::Request&) {
        return test_support::LoopbackServer::Reply{
            .headers = {{"Content-Type", "text/html"}},
            .body = "<!doctype html><title>links</title>"
                    "<a href=\"http://other.invalid/x?y\" style=\"position:fixed;inset:0\">go</a>"};
    });
    const auto opened = session.folder() / "opened";
    makeDefaultBrowser(fmt::format("#!/bin/sh\nprintf %s \"$1\" > '{}'\n", opened.native()));
    writeConfig(fmt::format("http://localhost:{}", site.port()), "/");
    const auto tool = open();
    ASSERT_TRUE(shows("links")) << tool->standardError();
    const std::string window = session.visibleWindow("links").value_or("");
    session.focus(window);
    const WindowGeometry area = session.geometry(window);
    session.click(window, area.width / 2, area.height / 2);
    EXPECT_TRUE(eventually([&] { return readFile(opened) == "http://other.invalid/x?y"; }))
        << tool->standardError();
    EXPECT_TRUE(session.visibleWindow("links"));
}

} // namespace
} // namespace desktop
