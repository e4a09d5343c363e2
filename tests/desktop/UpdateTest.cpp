// An update as a user meets it: the real panel, a real signed archive over https, the bundle
// exchanged, and the new version running in the place of the old one.
#include "tests/desktop/session/DesktopSession.h"
#include "tests/desktop/session/Waiting.h"
#include "tests/support/loopback/LoopbackServer.h"
#include "tests/support/tls/TlsFront.h"
#include "tests/support/updates/SigningKey.h"
#include "tests/support/updates/TestBundle.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <map>
#include <mutex>
#include <vector>

namespace desktop {
namespace {

using test_support::LoopbackServer;
using test_support::TestBundle;
using ::testing::HasSubstr;

class Update : public ::testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::create_directory(applications);
        std::ofstream(applications / "authority.pem") << certificate.certificate;
        program = readFile(ZORVANE_UPDATE_PROBE);
        serve();
        TestBundle old;
        old.program = program;
        old.info = updateInfo();
        bundle = old.write(applications);
    }
    void TearDown() override {
        if (HasFailure()) {
            const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
            session.keepEvidence(ZORVANE_FAILURES_DIR, fmt::format("Update.{}", test->name()));
        }
    }

    std::map<std::string, std::string> updateInfo() const {
        return {{"SUFeedURL", front.url("/appcast.xml")}, {"SUPublicEDKey", key.publicKeyText()}};
    }
    void serve() {
        TestBundle next{.version = "2", .displayVersion = "2.0"};
        next.program = program;
        next.info = updateInfo();
        next.info.insert(nextInfo.begin(), nextInfo.end());
        archive = next.archive(test_support::ArchiveBuilder::Format::tarZstd);
        test_support::TestItem item;
        item.url = front.url("/archive");
        item.length = std::to_string(archive.size());
        item.signature = key.signatureText(archive);
        item.inItem = "<sparkle:releaseNotesLink>https://updates.example/notes</"
                      "sparkle:releaseNotesLink>";
        feed = test_support::appcast({item});
        server.setHandler([this](const LoopbackServer::Request& request) {
            feedsAskedFor += request.target == "/archive" ? 0 : 1;
            return LoopbackServer::Reply{.body = request.target == "/archive" ? archive : feed};
        });
    }
    std::unique_ptr<Program> launch() {
        return session.start({(bundle / "Contents/MacOS/Example").string()},
                             fmt::format("application-{}", ++launches_));
    }
    bool appears(const std::string& title) {
        return eventually([&] { return session.visibleWindow(title).has_value(); });
    }
    bool disappears(const std::string& title) {
        return eventually([&] { return !session.visibleWindow(title); });
    }
    // Of the offer, where "Later" has the focus.
    void pressInstall() {
        session.pressKey("Tab");
        session.pressKey("space");
    }
    std::ptrdiff_t filesBesideTheBundle() const { // and the bundle not counted
        return std::ranges::distance(std::filesystem::directory_iterator(applications),
                                     std::filesystem::directory_iterator()) -
               1;
    }
    std::string events() const { return readFile(applications / "events"); }
    bool says(const std::string& line) const {
        return events().find(line + "\n") != std::string::npos;
    }
    std::vector<pid_t> versionsRunning() const {
        std::vector<pid_t> found;
        for (const Process& process : session.processes()) {
            if (process.command.starts_with((bundle / "Contents/MacOS/Example").string())) {
                found.push_back(process.pid);
            }
        }
        return found;
    }
    std::string version() const {
        return test_support::readTestInfo(bundle).at("CFBundleVersion").value();
    }

    DesktopSession session;
    std::filesystem::path applications = session.folder() / "Applications";
    test_support::SigningKey key;
    test_support::Certificate certificate = test_support::makeCertificate();
    std::atomic<int> feedsAskedFor = 0;
    LoopbackServer server;
    test_support::TlsFront front{server.port(), certificate};
    std::string program;
    std::string archive;
    std::string feed;
    std::filesystem::path bundle;
    std::map<std::string, std::string> nextInfo; // further values of the new version's

  private:
    int launches_ = 0;
};

constexpr const char* offerTitle = "Example 2.0 is available";

TEST_F(Update, isInstalledAndTheNewVersionRunsInThePlaceOfTheOldOne) {
    const auto old = launch();
    ASSERT_TRUE(appears(offerTitle)) << events() << old->standardError();
    const auto window = session.visibleWindow(offerTitle);
    session.focus(*window);
    const auto shot = session.screenshot(*window);
    ASSERT_TRUE(shot);
    EXPECT_GT(shot->distinctColours(), 10U) << "text, a link and three buttons";
    if (const char* const folder = std::getenv("ZORVANE_SHOW_PANEL")) {
        session.keepEvidence(folder, "offer");
    }

    pressInstall();
    EXPECT_EQ(old->waitForExit(patience), 0) << old->standardError();
    EXPECT_TRUE(eventually([&] { return events().find("launched 2\n") != std::string::npos; }))
        << events() << old->standardError();
    EXPECT_EQ(events(), "launched 1\nwill relaunch\nwill terminate\nlaunched 2\n");
    EXPECT_EQ(version(), "2");
    // The new version clears away what the old one ran from.
    EXPECT_TRUE(eventually([&] { return filesBesideTheBundle() == 2; }));
}

TEST_F(Update, waitsForAnotherTimeWhenTheUserPressesEscapeOrReturn) {
    const auto old = launch();
    for (const char* pressed : {"Escape", "Return"}) {
        ASSERT_TRUE(appears(offerTitle)) << pressed << events() << old->standardError();
        session.focus(*session.visibleWindow(offerTitle));
        session.pressKey(pressed);
        EXPECT_TRUE(disappears(offerTitle)) << pressed;
        EXPECT_TRUE(old->isRunning());
        EXPECT_EQ(version(), "1");
        const auto second = launch(); // asks again
        EXPECT_EQ(second->waitForExit(patience), 0);
    }
    EXPECT_TRUE(appears(offerTitle));
}

TEST_F(Update, isTakenBackWhenTheNewVersionDiesAtItsLaunch) {
    nextInfo["TestDies"] = "at its launch";
    serve();
    const auto old = launch();
    ASSERT_TRUE(appears(offerTitle)) << events() << old->standardError();
    session.focus(*session.visibleWindow(offerTitle));
    pressInstall();
    ASSERT_TRUE(appears("Example 2.0 was not installed")) << events() << old->standardError();
    EXPECT_THAT(old->standardError(), HasSubstr("does not start: it ended with status 3"));
    EXPECT_EQ(events(), "launched 1\n");
    EXPECT_TRUE(old->isRunning());
    EXPECT_EQ(version(), "1");
    EXPECT_EQ(filesBesideTheBundle(), 2) << "nothing of the new version is left";
    const auto second = launch();
    EXPECT_EQ(second->waitForExit(patience), 0) << "the old one is still the instance";
    EXPECT_THAT(events(), HasSubstr("reopen"));
}

// The end takes its time, as that of a server may; the new version is ready before it is over.
TEST_F(Update, isTakenBackWhenTheUserQuitsWhileTheNewVersionStarts) {
    for (const char* held : {"hold-launch", "hold-end"}) {
        std::ofstream(applications / held) << "";
    }
    const auto old = launch();
    ASSERT_TRUE(appears(offerTitle)) << events() << old->standardError();
    session.focus(*session.visibleWindow(offerTitle));
    pressInstall();
    ASSERT_TRUE(eventually([&] { return says("meets hold-launch"); })) << old->standardError();
    old->signal(SIGTERM);
    ASSERT_TRUE(eventually([&] { return says("meets hold-end"); })) << old->standardError();
    std::filesystem::remove(applications / "hold-launch");
    EXPECT_TRUE(eventually([&] { return version() == "1"; }));
    std::filesystem::remove(applications / "hold-end");
    EXPECT_EQ(old->waitForExit(patience), 0) << old->standardError();
    EXPECT_EQ(filesBesideTheBundle(), 2) << "nothing of the new version is left";
    EXPECT_FALSE(says("launched 2")) << events();
}

// As when the session ends: the old version is on its way out, and the new one waits for that.
TEST_F(Update, isNotFollowedByTheNewVersionWhenEverybodyIsToldToEnd) {
    std::ofstream(applications / "hold-end") << "";
    const auto old = launch();
    ASSERT_TRUE(appears(offerTitle)) << events() << old->standardError();
    session.focus(*session.visibleWindow(offerTitle));
    pressInstall();
    ASSERT_TRUE(eventually([&] { return says("meets hold-end"); })) << old->standardError();
    const std::vector<pid_t> running = versionsRunning();
    ASSERT_EQ(running.size(), 2U);
    for (const pid_t pid : running) {
        ::kill(pid, SIGTERM);
    }
    std::filesystem::remove(applications / "hold-end");
    EXPECT_EQ(old->waitForExit(patience), 0) << old->standardError();
    EXPECT_TRUE(eventually([&] { return versionsRunning().empty(); }));
    EXPECT_FALSE(says("launched 2")) << events();
    EXPECT_EQ(version(), "2");
}

TEST_F(Update, isNotEvenPutInPlaceWhenTheNewVersionCannotSayItsVersion) {
    nextInfo["TestDies"] = "when asked";
    serve();
    const auto old = launch();
    ASSERT_TRUE(appears(offerTitle)) << events() << old->standardError();
    session.focus(*session.visibleWindow(offerTitle));
    pressInstall();
    ASSERT_TRUE(appears("Example 2.0 was not installed")) << events() << old->standardError();
    EXPECT_THAT(old->standardError(), HasSubstr("does not start: it ends with status 127"));
    EXPECT_TRUE(old->isRunning());
    EXPECT_EQ(version(), "1");
    EXPECT_EQ(filesBesideTheBundle(), 2);
}

TEST_F(Update, staysInTheBackgroundUntilTheUserAsks) {
    std::ofstream(applications / "in-background") << "";
    const auto old = launch();
    // Nobody shows notifications on this session's bus.
    ASSERT_TRUE(eventually([&] {
        return old->standardError().find("no notification could be shown") != std::string::npos;
    })) << events()
        << old->standardError();
    EXPECT_FALSE(session.visibleWindow(offerTitle));
    const auto second = launch(); // asks
    EXPECT_EQ(second->waitForExit(patience), 0);
    EXPECT_TRUE(appears(offerTitle));
}

TEST_F(Update, waitsForAnotherTimeWhenTheProgramThatShowsThePanelDies) {
    const auto old = launch();
    ASSERT_TRUE(appears(offerTitle)) << events() << old->standardError();
    for (const Process& process : session.processes()) {
        if (process.command.find("zorvane-window") != std::string::npos) {
            ::kill(process.pid, SIGKILL);
        }
    }
    EXPECT_TRUE(disappears(offerTitle));
    const int before = feedsAskedFor;
    // Asks again, since the offer counts as answered, as soon as the application knows of the
    // death.
    EXPECT_TRUE(eventually([&] {
        EXPECT_EQ(launch()->waitForExit(patience), 0);
        return eventually([&] { return feedsAskedFor > before; }, std::chrono::seconds(2));
    }));
    EXPECT_TRUE(appears(offerTitle)) << old->standardError();
    EXPECT_TRUE(old->isRunning());
    EXPECT_EQ(version(), "1");
}

TEST_F(Update, isSkippedWithTheThirdButton) {
    const auto old = launch();
    ASSERT_TRUE(appears(offerTitle)) << events() << old->standardError();
    session.focus(*session.visibleWindow(offerTitle));
    session.pressKey("shift+Tab");
    session.pressKey("space");
    EXPECT_TRUE(disappears(offerTitle));
    const auto defaults = session.configHome() / "test.zorvane.update/defaults.ini";
    EXPECT_TRUE(eventually([&] {
        return readFile(defaults).find("updates.skipped.2=true") != std::string::npos;
    })) << readFile(defaults);
    EXPECT_TRUE(old->isRunning());
}

TEST_F(Update, leavesTheOldVersionRunningWhenTheArchiveWasTamperedWith) {
    archive[archive.size() / 2] = static_cast<char>(archive[archive.size() / 2] ^ 1);
    const auto old = launch();
    ASSERT_TRUE(appears(offerTitle)) << events() << old->standardError();
    session.focus(*session.visibleWindow(offerTitle));
    pressInstall();
    ASSERT_TRUE(appears("Example 2.0 was not installed"));
    EXPECT_THAT(old->standardError(), HasSubstr("not signed"));
    EXPECT_TRUE(old->isRunning());
    EXPECT_EQ(version(), "1");
    EXPECT_EQ(readFile(bundle / "Contents/MacOS/Example"), program);
}

} // namespace
} // namespace desktop
