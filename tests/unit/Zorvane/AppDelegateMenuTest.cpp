#include "tests/unit/Zorvane/FakeShell.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace zorvane {
namespace {

using namespace std::chrono_literals;
using platform::Menu;
using platform::testing::describe;
using platform::testing::itemTitled;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

// A running server whose replies a test sets by path.
class StatusMenuTest : public testing::Test, public FakeShell {
  protected:
    std::map<std::string, std::string> replies = {
        {"/api/modes", R"([{"id":"movies","name":"Movies","entityTypes":
                           [{"id":"movies.movie","name":"Movie","plural":"Movies"}]}])"},
        {"/api/libraries", R"([{"modeId":"movies"},{"modeId":"movies"}])"},
        {"/api/account/link/status", R"({"linked":false})"}};
    std::string movies = "1204";
    std::map<std::string, std::chrono::milliseconds> delays;
    bool libraryFails = false;

    void SetUp() override {
        bundle.info["CFBundleShortVersionString"] = "1.4.0";
        bundle.info["CFBundleVersion"] = "212";
        http.script = [this](const platform::HttpRequest& request) { return answer(request); };
    }

    platform::testing::ScriptedHttpClient::Answer answer(const platform::HttpRequest& request) {
        const ostra::Url url(request.url);
        const std::string path = url.path();
        platform::HttpResponse response{200, {}, {}};
        if (path == "/api/health") {
            response.body = R"({"status":"ok","nonce":")" + nonce() + R"("})";
        } else if (libraryFails && path == "/api/modes") {
            response.status = 500;
        } else if (path == "/api/entities") {
            response.headers = {{"X-Total-Count", movies}};
        } else {
            response.body = replies.at(path);
        }
        const auto delay = delays.find(path);
        return {response, delay == delays.end() ? 0ms : delay->second};
    }

    [[nodiscard]] std::ptrdiff_t requestsFor(const std::string& path) const {
        return std::count_if(http.requests.begin(), http.requests.end(), [&](const auto& request) {
            return ostra::Url(request.url).path() == path;
        });
    }
    [[nodiscard]] Menu openMenu() { return statusBar.item->open(); }
    [[nodiscard]] std::vector<std::string> openedLines() { return describe(openMenu()); }
    void click(const char* title) { itemTitled(openMenu(), title).action(); }
    // What a tray that keeps a copy shows now.
    [[nodiscard]] std::vector<std::string> trayLines() {
        return describe(statusBar.item->published.back());
    }
};

TEST_F(StatusMenuTest, isNotMadeBeforeItsOpeningWhereNobodyKeepsACopy) {
    launch();
    statusBar.item->keepsCopy = false;
    statusBar.item->published.clear();
    scheduler.runReady();
    EXPECT_THAT(statusBar.item->published, IsEmpty());
    EXPECT_THAT(openedLines(), Contains("[Server: Online]"));
}

TEST_F(StatusMenuTest, isInstalledWithSymbolAndToolTip) {
    launch();
    EXPECT_EQ(statusBar.item->symbol, "antenna.radiowaves.left.and.right");
    EXPECT_EQ(statusBar.item->description, "Zorvane");
    EXPECT_EQ(statusBar.mainMenu.size(), 3U);
}

TEST_F(StatusMenuTest, showsAnAntennaAsTextWhereThereIsNoSymbol) {
    statusBar.symbols.clear();
    launch();
    EXPECT_EQ(statusBar.item->title, "📻");
}

TEST_F(StatusMenuTest, showsTheStartingServer) {
    launch();
    EXPECT_THAT(openedLines(), ElementsAre("[Zorvane 1.4.0 (212)]", "[Server: Starting ostrad...]",
                                           "-", "Show Zorvane Window", "[Open Web App]",
                                           "[Copy Server URL]", "Restart Server", "-",
                                           "o Start at Login", "-", "Quit Zorvane & Stop Server"));
    EXPECT_EQ(requestsFor("/api/modes"), 0);
    EXPECT_EQ(requestsFor("/api/account/link/status"), 0);
}

TEST_F(StatusMenuTest, showsTheRunningServerItsLibraryAndItsAccount) {
    launchQuietly();
    EXPECT_THAT(openedLines(),
                ElementsAre("[Zorvane 1.4.0 (212)]", "[Server: Online]",
                            "[Address: http://127.0.0.1:50001/]", "-",
                            "[Library: 1,204 items across 2 libraries]",
                            "[Movies: 1,204 movies - 2 libraries]", "-", "Show Zorvane Window",
                            "Open Web App", "Copy Server URL", "Restart Server", "-",
                            "[Account: not linked]", "Link This Server…", "-", "o Start at Login",
                            "-", "Quit Zorvane & Stop Server"));
}

TEST_F(StatusMenuTest, opensNoLineForAnAccountThatCannotBeRead) {
    replies["/api/account/link/status"] = "nonsense";
    launchQuietly();
    EXPECT_THAT(openedLines(), IsSupersetOf({"[Account: …]", "Link This Server…"}));
}

TEST_F(StatusMenuTest, keepsTheToolTipCurrent) {
    launch();
    EXPECT_EQ(statusBar.item->toolTip, "Server: Starting ostrad...");
    scheduler.runReady();
    EXPECT_EQ(statusBar.item->toolTip, "Server: Online\nAddress: http://127.0.0.1:50001/\n"
                                       "Library: 1,204 items across 2 libraries");
    delegate->supervisor().stop();
    scheduler.advance(1s);
    EXPECT_EQ(statusBar.item->toolTip, "Server: Stopped");
}

TEST_F(StatusMenuTest, tellsTraysThatKeepACopyOfEveryChange) {
    launch();
    EXPECT_THAT(trayLines(), Contains("[Server: Starting ostrad...]"));
    scheduler.runReady();
    EXPECT_EQ(trayLines(), openedLines());
}

TEST_F(StatusMenuTest, asksForTheAccountAtEveryOpening) {
    launchQuietly();
    const auto before = requestsFor("/api/account/link/status");
    EXPECT_THAT(openedLines(), Contains("[Account: not linked]"));
    replies["/api/account/link/status"] = R"({"linked":true,"origin":"https://account.test"})";
    EXPECT_THAT(openedLines(), Contains("[Account: not linked]"));
    scheduler.runReady();
    EXPECT_EQ(requestsFor("/api/account/link/status"), before + 2);
    EXPECT_THAT(openedLines(), IsSupersetOf({"[Account: linked]", "Open Account Page"}));
}

TEST_F(StatusMenuTest, asksForTheLibraryOnceInTenSeconds) {
    launchQuietly();
    EXPECT_EQ(requestsFor("/api/modes"), 1);
    (void)openMenu();
    scheduler.advance(3s);
    (void)openMenu();
    scheduler.advance(7s - 1ns);
    (void)openMenu();
    EXPECT_EQ(requestsFor("/api/modes"), 1);
    scheduler.advance(1ns);
    (void)openMenu();
    EXPECT_EQ(requestsFor("/api/modes"), 2);
}

TEST_F(StatusMenuTest, keepsOneLibraryRequestForAServer) {
    delays["/api/modes"] = 1500ms;
    launchQuietly();
    EXPECT_THAT(openedLines(), Contains("[Library: loading...]"));
    scheduler.advance(1s);
    (void)openMenu();
    EXPECT_EQ(requestsFor("/api/modes"), 1);
    scheduler.advance(500ms);
    EXPECT_THAT(openedLines(), Contains("[Library: 1,204 items across 2 libraries]"));
}

TEST_F(StatusMenuTest, keepsTheLastGoodSummaryWhenARequestFails) {
    launchQuietly();
    libraryFails = true;
    scheduler.advance(10s);
    (void)openMenu();
    scheduler.runReady();
    EXPECT_EQ(requestsFor("/api/modes"), 2);
    EXPECT_THAT(openedLines(), Contains("[Library: 1,204 items across 2 libraries]"));
    EXPECT_EQ(requestsFor("/api/modes"), 3) << "a failed request does not count as fresh";
}

TEST_F(StatusMenuTest, saysThatALibraryNeverFetchedIsUnavailable) {
    libraryFails = true;
    launchQuietly();
    EXPECT_THAT(trayLines(), Contains("[Library: unavailable]"));
}

TEST_F(StatusMenuTest, discardsAnAnswerOfAServerThatHasMoved) {
    delays["/api/modes"] = 1900ms;
    launchQuietly();
    ports.taken = {50001};
    delays["/api/modes"] = 1950ms;
    movies = "7";
    delegate->supervisor().restart();
    scheduler.advance(1s);
    EXPECT_THAT(openedLines(),
                IsSupersetOf({"[Address: http://127.0.0.1:50002/]", "[Library: loading...]"}));
    scheduler.advance(900ms);
    EXPECT_THAT(trayLines(), Not(Contains("[Library: 7 items across 2 libraries]")));
    // The flag is gone although the new server's own request is under way.
    const auto before = requestsFor("/api/modes");
    (void)openMenu();
    EXPECT_EQ(requestsFor("/api/modes"), before + 1);
    scheduler.advance(2s);
    EXPECT_THAT(openedLines(), Contains("[Library: 7 items across 2 libraries]"));
}

TEST_F(StatusMenuTest, forgetsLibraryAndAccountWhenTheServerLeavesRunning) {
    launchQuietly();
    (void)openMenu();
    scheduler.runReady();
    delegate->supervisor().stop();
    scheduler.advance(1s);
    EXPECT_THAT(openedLines(), Contains("[Server: Stopped]"));
    libraryFails = true;
    replies["/api/account/link/status"] = "nonsense";
    delegate->supervisor().start();
    scheduler.advance(10s);
    EXPECT_THAT(trayLines(), IsSupersetOf({"[Library: unavailable]", "[Account: …]"}));
}

TEST_F(StatusMenuTest, doesNothingWithAnswersAfterTheDelegateIsGone) {
    delays["/api/modes"] = 1s;
    delays["/api/account/link/status"] = 1s;
    launchQuietly();
    delegate->applicationWillTerminate();
    const std::weak_ptr<AppDelegate> weak = delegate;
    delegate.reset();
    EXPECT_TRUE(weak.expired()) << "outstanding requests do not keep the delegate";
    scheduler.advance(5s);
}

TEST_F(StatusMenuTest, opensTheWindow) {
    launchQuietly();
    windows.window->close();
    events.clear();
    click("Show Zorvane Window");
    EXPECT_THAT(events, Contains("window front"));
}

TEST_F(StatusMenuTest, opensAndCopiesTheServersAddress) {
    launchQuietly();
    click("Open Web App");
    EXPECT_THAT(workspace.opened, ElementsAre("http://127.0.0.1:50001/"));
    click("Copy Server URL");
    EXPECT_EQ(pasteboard.text, "http://127.0.0.1:50001/");
    EXPECT_EQ(pasteboard.writes, 1);
}

TEST_F(StatusMenuTest, neitherOpensNorCopiesWithoutAServer) {
    launch();
    click("Open Web App");
    click("Copy Server URL");
    delegate->linkServer();
    delegate->reopenApproval();
    delegate->copyLinkCode();
    delegate->openAccountPage();
    delegate->checkForUpdates();
    EXPECT_THAT(workspace.opened, IsEmpty());
    EXPECT_EQ(pasteboard.writes, 0);
    EXPECT_EQ(requestsFor("/api/account/link/start"), 0);
}

TEST_F(StatusMenuTest, restartsTheServer) {
    launchQuietly();
    click("Restart Server");
    scheduler.advance(1s);
    EXPECT_EQ(launcher.launches(), 2U);
}

TEST_F(StatusMenuTest, linksTheServerFromCodeToAccountPage) {
    replies["/api/account/link/status"] = R"({"linked":false,"origin":"https://account.test"})";
    replies["/api/account/link/start"] =
        R"({"code":"ABCD-1234","verifyUrl":"https://account.test/link?code=ABCD-1234"})";
    launchQuietly();
    delays["/api/account/link/status"] = 1s;
    click("Link This Server…");
    scheduler.runReady();
    EXPECT_THAT(workspace.opened, ElementsAre("https://account.test/link?code=ABCD-1234"));
    EXPECT_THAT(openedLines(), IsSupersetOf({"[Account: linking… ABCD-1234]",
                                             "Reopen Approval Page", "Copy Link Code"}));
    click("Copy Link Code");
    EXPECT_EQ(pasteboard.text, "ABCD-1234");
    click("Reopen Approval Page");
    EXPECT_EQ(workspace.opened.size(), 2U);
    EXPECT_EQ(workspace.opened.back(), "https://account.test/link?code=ABCD-1234");

    replies["/api/account/link/status"] = R"({"linked":true,"origin":"https://account.test"})";
    delays.clear();
    (void)openMenu();
    scheduler.advance(2s);
    (void)openMenu();
    scheduler.runReady();
    click("Open Account Page");
    EXPECT_EQ(workspace.opened.back(), "https://account.test/account");
}

TEST_F(StatusMenuTest, asksForTheStatusAgainOnceALinkHasStarted) {
    replies["/api/account/link/start"] =
        R"({"code":"ABCD-1234","verifyUrl":"https://account.test/"})";
    launchQuietly();
    delegate->linkServer();
    const auto before = requestsFor("/api/account/link/status");
    scheduler.runReady();
    EXPECT_EQ(requestsFor("/api/account/link/status"), before + 1);
}

TEST_F(StatusMenuTest, showsNothingWhenALinkCannotStart) {
    replies["/api/account/link/start"] = R"({"code":"","verifyUrl":"https://account.test/"})";
    launchQuietly();
    const auto before = openedLines();
    click("Link This Server…");
    scheduler.runReady();
    EXPECT_THAT(workspace.opened, IsEmpty());
    EXPECT_EQ(openedLines(), before);
}

TEST_F(StatusMenuTest, opensTheApprovalPageEvenWhenTheDelegateHasGone) {
    replies["/api/account/link/start"] =
        R"({"code":"ABCD-1234","verifyUrl":"https://account.test/"})";
    launchQuietly();
    click("Link This Server…");
    delegate->applicationWillTerminate();
    delegate.reset();
    scheduler.advance(1s);
    EXPECT_THAT(workspace.opened, ElementsAre("https://account.test/"));
}

TEST_F(StatusMenuTest, togglesTheLoginItem) {
    launchQuietly();
    click("Start at Login");
    EXPECT_THAT(openedLines(), Contains("* Start at Login"));
    EXPECT_TRUE(defaults.boolean("OstraLoginItemDefaultApplied"));
    click("Start at Login");
    EXPECT_THAT(openedLines(), Contains("o Start at Login"));
}

TEST_F(StatusMenuTest, logsALoginItemThatCannotBeToggled) {
    launchQuietly();
    loginService.failure = "the folder is read-only";
    click("Start at Login");
    EXPECT_THAT(log.lines, Contains("login item toggle failed: the folder is read-only"));
    EXPECT_THAT(openedLines(), Contains("o Start at Login"));
}

TEST_F(StatusMenuTest, readsTheLoginItemFromTheSystemAtEachOpening) {
    launchQuietly();
    loginService.current = platform::LoginServiceStatus::enabled;
    EXPECT_THAT(openedLines(), Contains("* Start at Login"));
    loginService.current = platform::LoginServiceStatus::requiresApproval;
    EXPECT_THAT(openedLines(), Contains("o Start at Login"));
}

TEST_F(StatusMenuTest, offersUpdatesWhenTheApplicationHasThem) {
    struct Updater final : UpdateChecker {
        int& checks;
        explicit Updater(int& counted)
            : checks(counted) {}
        void checkForUpdates() override { ++checks; }
    };
    int checks = 0;
    steps.makeUpdater = [&](const std::function<bool()>&) {
        return std::make_unique<Updater>(checks);
    };
    launchQuietly();
    click("Check for Updates…");
    EXPECT_EQ(checks, 1);
}

TEST_F(StatusMenuTest, quitsEvenWhileTheWindowIsVisible) {
    launchQuietly();
    click("Quit Zorvane & Stop Server");
    EXPECT_TRUE(application.terminated);
    EXPECT_EQ(launcher.running(), 0);
}

} // namespace
} // namespace zorvane
