// The real application's status item as a tray sees it over D-Bus: its tool tip, every line of its
// menu, and what a click on each item does on the desktop.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/Clipboard.h"
#include "tests/desktop/session/ExpectedMenu.h"
#include "tests/desktop/session/ServerRequest.h"
#include "tests/desktop/session/TrayHost.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <string_view>

namespace desktop {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::Not;
using Lines = std::vector<std::string>;

const std::string header = "[Zorvane " ZORVANE_VERSION " (" ZORVANE_BUILD ")]";

class StatusMenu : public ApplicationTest {
  protected:
    void launchUntilInTheTray() {
        ASSERT_NO_FATAL_FAILURE(launchUntilReady());
        ASSERT_TRUE(tray.hasItem()) << application->standardError();
        ASSERT_TRUE(comesToShow("[Account: not linked]"));
        ASSERT_TRUE(comesToShow("[Library: no libraries configured]"));
    }

    // Whether the menu, opened again and again, comes to hold the line.
    [[nodiscard]] bool comesToShow(const std::string& line) {
        return eventually([&] {
            menu = tray.openMenu();
            return std::ranges::find(menu, line) != menu.end();
        });
    }
    void choose(const std::string& item) {
        menu = tray.openMenu();
        tray.click(item);
    }

    [[nodiscard]] int port() const { return serverLaunches(1).back().port; }
    [[nodiscard]] std::string address() const {
        return fmt::format("http://127.0.0.1:{}/", port());
    }
    [[nodiscard]] bool clipboardComesToHold(const std::string& text) const {
        return eventually([&] { return clipboardText(session.environment.at("DISPLAY")) == text; });
    }

    // A server that waits for letTheServerStart() before it becomes the one that ships.
    void holdTheServerBack() {
        const auto script = session.folder() / "late-server";
        std::ofstream(script) << fmt::format(
            "#!/bin/sh\nwhile [ ! -e {} ]; do sleep 0.02; done\nexec {} \"$@\"\n", go.string(),
            ZORVANE_SERVER);
        std::filesystem::permissions(script, std::filesystem::perms::owner_all);
        session.environment["OSTRA_SIDECAR"] = script.string();
    }
    void letTheServerStart() const { std::ofstream(go) << "go"; }

    // The desktop's default for web pages becomes a program that writes down what it is to show.
    void setBrowser() const {
        const auto script = session.folder() / "browser";
        std::ofstream(script) << fmt::format("#!/bin/sh\nprintf %s \"$XDG_ACTIVATION_TOKEN\" >{}\n"
                                             "printf '%s\\n' \"$1\" >>{}\n",
                                             usedToken.string(), opened.string());
        std::filesystem::permissions(script, std::filesystem::perms::owner_all);
        std::filesystem::create_directories(session.dataHome() / "applications");
        std::ofstream(session.dataHome() / "applications/some-browser.desktop")
            << "[Desktop Entry]\nType=Application\nName=Browser\nExec=" << script.string()
            << " %u\nMimeType=x-scheme-handler/http;\n";
        std::filesystem::create_directories(session.configHome());
        std::ofstream(session.configHome() / "mimeapps.list")
            << "[Default Applications]\nx-scheme-handler/http=some-browser.desktop\n";
    }
    [[nodiscard]] bool browserShows(const std::string& url) const {
        return eventually([&] { return readFile(opened).ends_with(url + "\n"); });
    }

    TrayHost tray{session};
    Lines menu;
    const std::filesystem::path go = session.folder() / "go";
    const std::filesystem::path opened = session.folder() / "opened";
    const std::filesystem::path usedToken = session.folder() / "token";
};

TEST_F(StatusMenu, tellsOfTheServerFromItsStartOn) {
    holdTheServerBack();
    application = launch();
    ASSERT_TRUE(tray.hasItem()) << application->standardError();
    EXPECT_EQ(tray.text("IconName"), "antenna.radiowaves.left.and.right-symbolic");
    EXPECT_EQ(tray.text("Status"), "Active");
    ASSERT_TRUE(eventually([&] { return tray.toolTip() == "Server: Starting ostrad..."; }))
        << tray.toolTip();
    EXPECT_THAT(tray.openMenu(),
                ElementsAre(header, "[Server: Starting ostrad...]", "-", "Show Zorvane Window",
                            "[Open Web App]", "[Copy Server URL]", "Restart Server", "-",
                            "o Start at Login", "-", "Quit Zorvane & Stop Server"));

    letTheServerStart();
    ASSERT_TRUE(comesToShow("[Account: not linked]"));
    ASSERT_TRUE(comesToShow("[Library: no libraries configured]"));
    EXPECT_EQ(tray.toolTip(), fmt::format("Server: Online\nAddress: {}\n"
                                          "Library: no libraries configured",
                                          address()));
    EXPECT_THAT(menu, ElementsAreArray(menuOfAFreshServer(header, address())));
}

TEST_F(StatusMenu, bringsTheHiddenWindowBack) {
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    session.close(window().value());
    ASSERT_TRUE(windowDisappears());
    choose("Show Zorvane Window");
    EXPECT_TRUE(windowAppears());
}

TEST_F(StatusMenu, bringsTheHiddenWindowBackWhenTheItemIsActivated) {
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    session.close(window().value());
    ASSERT_TRUE(windowDisappears());
    tray.activate();
    EXPECT_TRUE(windowAppears());
}

TEST_F(StatusMenu, copiesTheServersAddressAndOpensItInTheBrowser) {
    setBrowser();
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    choose("Copy Server URL");
    EXPECT_TRUE(clipboardComesToHold(address()));
    choose("Open Web App");
    EXPECT_TRUE(browserShows(address()));
}

TEST_F(StatusMenu, givesTheTraysPermissionToTheBrowserOnce) {
    setBrowser();
    session.environment["XDG_ACTIVATION_TOKEN"] = "of-the-launch";
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    tray.giveActivationToken("of-the-click");
    choose("Open Web App");
    EXPECT_TRUE(browserShows(address()));
    EXPECT_EQ(readFile(usedToken), "of-the-click");
    choose("Open Web App");
    EXPECT_TRUE(browserShows(address() + "\n" + address()));
    EXPECT_EQ(readFile(usedToken), "");
}

TEST_F(StatusMenu, restartsTheServer) {
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    const pid_t before = serverLaunches(1).front().pid;
    choose("Restart Server");
    const std::vector<ServerLaunch> launches = serverLaunches(2);
    ASSERT_EQ(launches.size(), 2U) << application->standardError();
    EXPECT_NE(launches.back().pid, before);
    ASSERT_TRUE(comesToShow(fmt::format("[Address: {}]", address())));
    EXPECT_TRUE(serverAnswers(launches.back().port));
    EXPECT_TRUE(eventually([&] { return processesNamed("ostrad").size() == 1; }))
        << describe(session.processes());
    EXPECT_NE(::kill(before, 0), 0);
}

TEST_F(StatusMenu, switchesTheStartAtLoginOnAndOff) {
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    const auto entry = session.configHome() / "autostart/app.zorvane.desktop";
    ASSERT_FALSE(std::filesystem::exists(entry));
    choose("o Start at Login");
    EXPECT_TRUE(comesToShow("* Start at Login"));
    EXPECT_THAT(readFile(entry), HasSubstr("\nExec=\"" ZORVANE_APPLICATION "\"\n"));
    choose("* Start at Login");
    EXPECT_TRUE(comesToShow("o Start at Login"));
    EXPECT_FALSE(std::filesystem::exists(entry));
}

TEST_F(StatusMenu, countsWhatTheLibrariesHold) {
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    const auto movies = session.folder() / "Movies";
    std::filesystem::create_directories(movies);
    for (const char* const name : {"One (2001).mkv", "Two (2002).mkv"}) {
        std::ofstream(movies / name) << "not much of a film";
    }
    EXPECT_THAT(
        ask(port(), {.method = "POST",
                     .path = "/api/libraries",
                     .json = fmt::format(R"({{"modeId":"movies","path":"{}"}})", movies.string())}),
        HasSubstr(" 201 "));
    ASSERT_TRUE(eventually([&] {
        return ask(port(), {.path = "/api/libraries"}).find(R"("itemCount":2,)") !=
               std::string::npos;
    }));
    // The counts are asked for again at once when a server has come up.
    choose("Restart Server");
    ASSERT_EQ(serverLaunches(2).size(), 2U);
    // The line may change in a menu that is open; a new row comes with the next opening.
    ASSERT_TRUE(comesToShow("[Library: 2 items across 1 library]"));
    EXPECT_TRUE(comesToShow("[Movies: 2 movies - 1 library]"));
    EXPECT_THAT(menu, Not(Contains(HasSubstr("TV: "))));
    EXPECT_TRUE(tray.toolTip().ends_with("\nLibrary: 2 items across 1 library")) << tray.toolTip();
}

TEST_F(StatusMenu, linksTheServerToAnAccount) {
    setBrowser();
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    choose("Link This Server…");
    ASSERT_TRUE(comesToShow("Copy Link Code"));
    const auto line = std::ranges::find_if(
        menu, [](const std::string& item) { return item.starts_with("[Account: linking… "); });
    ASSERT_NE(line, menu.end());
    const std::size_t start = std::string_view("[Account: linking… ").size();
    const std::string code = line->substr(start, line->size() - start - 1);
    const std::string page = fmt::format("{}link?code={}", address(), code);
    EXPECT_TRUE(browserShows(page)) << readFile(opened);
    EXPECT_THAT(Lines(line, line + 3),
                ElementsAre(*line, "Reopen Approval Page", "Copy Link Code"));

    choose("Copy Link Code");
    EXPECT_TRUE(clipboardComesToHold(code));
    choose("Reopen Approval Page");
    EXPECT_TRUE(browserShows(page + "\n" + page)) << readFile(opened);

    EXPECT_THAT(ask(port(), {.method = "POST",
                             .path = "/api/account/link/approve",
                             .json = fmt::format(R"({{"code":"{}"}})", code)}),
                HasSubstr(" 200 "));
    ASSERT_TRUE(comesToShow("[Account: linked]"));
    EXPECT_THAT(menu, Not(Contains("Reopen Approval Page")));
    choose("Open Account Page");
    EXPECT_TRUE(browserShows(address() + "account")) << readFile(opened);
}

TEST_F(StatusMenu, quitsTheApplicationAndItsServer) {
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    const int port = this->port();
    choose("Quit Zorvane & Stop Server");
    EXPECT_EQ(application->waitForExit(patience), 0) << application->standardError();
    EXPECT_FALSE(serverAnswers(port));
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

} // namespace
} // namespace desktop
