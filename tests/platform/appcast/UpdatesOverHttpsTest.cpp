// Updates over real https with real signed archives, from servers that cheat and fail: whatever
// they do, the old application is whole afterwards and nothing else is left beside it.
#include "platform/appcast/AppcastFramework.h"
#include "platform/posix/CurlHttpClient.h"
#include "platform/posix/WatchedCommand.h"
#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/InMemorySystem.h"
#include "tests/platform/appcast/FakeUpdateUi.h"
#include "tests/platform/appcast/RunningBundle.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/support/fasttime/FastTime.h"
#include "tests/support/loopback/LoopbackServer.h"
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/support/tls/TlsFront.h"
#include "tests/support/updates/SigningKey.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

namespace platform::appcast {
namespace {

using test_support::ArchiveBuilder;
using test_support::LoopbackServer;
using test_support::TestBundle;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class UpdatesOverHttps : public ::testing::Test {
  protected:
    void SetUp() override {
        writeText(files / "authority.pem", certificate.certificate);
        server.setHandler([this](const LoopbackServer::Request& request) {
            const std::scoped_lock lock(mutex);
            const auto page = pages.find(request.target);
            return page == pages.end() ? LoopbackServer::Reply{.status = 404} : page->second;
        });
        TestBundle old;
        old.info = {{"SUFeedURL", front.url("/appcast.xml")},
                    {"SUPublicEDKey", key.publicKeyText()}};
        installed = old.write(root.path());
        serve(TestBundle{.version = "2"}.archive());
    }
    void TearDown() override { controller.reset(); }

    void put(const std::string& target, LoopbackServer::Reply reply) {
        const std::scoped_lock lock(mutex);
        pages[target] = std::move(reply);
    }
    // Offers the archive, signed, as version 2.
    void serve(const std::string& archive) {
        put("/archive", {.body = archive});
        item.url = front.url("/archive");
        item.length = std::to_string(archive.size());
        item.signature = key.signatureText(archive);
        serveFeed();
    }
    void serveFeed() { put("/appcast.xml", {.body = test_support::appcast({item})}); }

    void check() {
        framework.emplace(UpdateFacilities{.http = client(),
                                           .mainQueue = time.mainQueue(),
                                           .backgroundQueues = time.backgroundQueues(),
                                           .clock = time.clock(),
                                           .defaults = defaults,
                                           .notifications = notifications,
                                           .application = application,
                                           .workspace = workspace,
                                           .runProgram = &posix::runWatched,
                                           .startSuccessor =
                                               [this](const auto& started, auto&&... /*terms*/) {
                                                   program = started;
                                                   hasStarted = true;
                                                   return std::expected<void, std::string>();
                                               },
                                           .ui = ui,
                                           .notice = notice,
                                           .log = log},
                          bundle.emplace(installed),
                          AppcastOptions{.system = {.names = {"linux"}, .version = "6.1"},
                                         .readInfo = &test_support::readTestInfo});
        controller = framework->makeStandardController(delegate);
        controller->checkForUpdates();
    }
    // The text of the panel that the check ends with.
    std::string checkResult() {
        check();
        return awaitMessage();
    }
    // The same for an installation that fails.
    std::string installResult() {
        check();
        EXPECT_TRUE(awaitButton("Install and Relaunch")) << describe();
        if (ui.shown && ui.shown->buttons.size() == 3) {
            ui.press("Install and Relaunch");
        }
        const auto text = awaitMessage();
        expectUntouched();
        return text;
    }
    bool awaitButton(const std::string& button) {
        return time.runUntil([&] {
            return ui.shown &&
                   std::ranges::find(ui.shown->buttons, button) != ui.shown->buttons.end();
        });
    }
    std::string awaitMessage() {
        EXPECT_TRUE(awaitButton("OK")) << describe();
        return describe();
    }
    std::string describe() const {
        return ui.shown ? ui.shown->title + ": " + ui.shown->text : "nothing";
    }
    void expectUntouched() const {
        EXPECT_EQ(test_support::readTestInfo(installed).at("CFBundleVersion"), "1");
        EXPECT_EQ(readText(installed / "Contents/MacOS/Example"), TestBundle{}.programText());
        EXPECT_THAT(namesIn(root.path()), ElementsAre("Example.app"));
        EXPECT_FALSE(hasStarted);
    }
    platform::HttpClient& client() {
        if (!client_) {
            client_ = std::make_unique<CurlHttpClient>(
                CurlHttpOptions{.authorities = files / "authority.pem"});
        }
        return *client_;
    }

    test_support::TemporaryFolder root;
    test_support::TemporaryFolder files;
    test_support::SigningKey key;
    test_support::Certificate certificate = test_support::makeCertificate();
    std::mutex mutex;
    std::map<std::string, LoopbackServer::Reply> pages;
    LoopbackServer server;
    test_support::TlsFront front{server.port(), certificate};
    test_support::TestItem item;
    std::filesystem::path installed;

    test_support::FastTime time{1};
    platform::testing::Events events;
    platform::testing::InMemoryDefaults defaults;
    platform::testing::FakeNotificationCenter notifications;
    platform::testing::FakeApplication application{events};
    platform::testing::FakeWorkspace workspace{events};
    platform::testing::RecordingLog log;
    std::filesystem::path program; // the one that was started, once hasStarted
    std::atomic<bool> hasStarted = false;
    FakeUpdateUi ui;
    FakeUpdateNotice notice;
    RecordingDelegate delegate;
    std::optional<RunningBundle> bundle;
    std::unique_ptr<CurlHttpClient> client_;
    std::optional<AppcastFramework> framework;
    std::unique_ptr<UpdateController> controller;
};

TEST_F(UpdatesOverHttps, installASignedArchiveOfSeveralMegabytes) {
    std::string noise(3'000'000, '\0');
    for (std::size_t i = 0; i < noise.size(); ++i) {
        noise[i] = static_cast<char>((i * 2654435761U) >> 13);
    }
    serve(TestBundle{.version = "2", .files = {{"Resources/noise", noise}}}.archive(
        ArchiveBuilder::Format::tar));
    check();
    ASSERT_TRUE(awaitButton("Install and Relaunch")) << describe();
    ui.press("Install and Relaunch");
    ASSERT_TRUE(time.runUntil([&] { return hasStarted.load(); })) << describe();
    EXPECT_EQ(test_support::readTestInfo(installed).at("CFBundleVersion"), "2");
    EXPECT_EQ(readText(installed / "Contents/Resources/noise"), noise);
    EXPECT_EQ(program, installed / "Contents/MacOS/Example");
}

TEST_F(UpdatesOverHttps, followARedirectToTheArchiveWithinHttps) {
    put("/moved", {.status = 302, .headers = {{"Location", front.url("/archive")}}});
    item.url = front.url("/moved");
    serveFeed();
    check();
    ASSERT_TRUE(awaitButton("Install and Relaunch"));
    ui.press("Install and Relaunch");
    EXPECT_TRUE(time.runUntil([&] { return hasStarted.load(); })) << describe();
}

TEST_F(UpdatesOverHttps, refuseATamperedArchive) {
    auto archive = TestBundle{.version = "2"}.archive();
    archive[archive.size() / 2] = static_cast<char>(archive[archive.size() / 2] ^ 4);
    put("/archive", {.body = archive});
    EXPECT_THAT(installResult(), HasSubstr("not signed by the developer"));
}

TEST_F(UpdatesOverHttps, refuseAnArchiveSignedWithAnotherKey) {
    const auto archive = TestBundle{.version = "2"}.archive();
    item.signature = test_support::SigningKey().signatureText(archive);
    serveFeed();
    EXPECT_THAT(installResult(), HasSubstr("not signed by the developer"));
}

TEST_F(UpdatesOverHttps, refuseAShorterAndALongerArchiveThanAnnounced) {
    const auto archive = TestBundle{.version = "2"}.archive();
    put("/archive", {.body = archive.substr(0, archive.size() - 10)});
    EXPECT_THAT(installResult(), HasSubstr("not complete"));
    put("/archive", {.body = archive + "more"});
    EXPECT_THAT(installResult(), HasSubstr("more than it may"));
}

TEST_F(UpdatesOverHttps, refuseASignedArchiveThatLeavesItsFolder) {
    ArchiveBuilder traversing;
    TestBundle{.version = "2"}.addTo(traversing);
    serve(traversing.file("Example.app/../../evil", "x").finish());
    EXPECT_THAT(installResult(), HasSubstr("a name that is not allowed"));
}

TEST_F(UpdatesOverHttps, refuseASignedArchiveWithALinkThatLeadsOut) {
    ArchiveBuilder linking;
    TestBundle{.version = "2"}.addTo(linking);
    serve(linking.link("Example.app/Contents/out", "/etc").finish());
    EXPECT_THAT(installResult(), HasSubstr("a link that leads out"));
}

TEST_F(UpdatesOverHttps, refuseAnOldArchiveUnderANewVersion) {
    serve(TestBundle{.version = "0.5"}.archive());
    EXPECT_THAT(installResult(), HasSubstr("another version than announced"));
}

TEST_F(UpdatesOverHttps, neverOfferADowngrade) {
    item.version = "0.9";
    serveFeed();
    EXPECT_THAT(checkResult(), HasSubstr("is up to date"));
    expectUntouched();
}

TEST_F(UpdatesOverHttps, refuseToBeLedToPlainHttp) {
    put("/appcast.xml", {.status = 302, .headers = {{"Location", server.url("/plain.xml")}}});
    put("/plain.xml", {.body = test_support::appcast({item})});
    EXPECT_THAT(checkResult(), HasSubstr("no usable answer"));

    serveFeed();
    put("/archive", {.status = 302, .headers = {{"Location", server.url("/plain")}}});
    EXPECT_THAT(installResult(), HasSubstr("no usable answer"));
    for (const auto& request : server.requests()) {
        EXPECT_NE(request.target, "/plain");
        EXPECT_NE(request.target, "/plain.xml");
    }
}

TEST_F(UpdatesOverHttps, takeNoArchiveFromAPlainHttpAddress) {
    item.url = server.url("/archive");
    serveFeed();
    EXPECT_THAT(checkResult(), HasSubstr("is up to date"));
}

TEST_F(UpdatesOverHttps, refuseAHugeFeed) {
    put("/appcast.xml", {.body = std::string(2'000'000, ' ')});
    EXPECT_THAT(checkResult(), HasSubstr("sends more than it may"));
    server.setMisbehaviour(LoopbackServer::Misbehaviour::endlessChunks);
    EXPECT_THAT(checkResult(), HasSubstr("sends more than it may"));
}

TEST_F(UpdatesOverHttps, surviveServersThatFailInTheMiddleOfTheArchive) {
    check();
    ASSERT_TRUE(awaitButton("Install and Relaunch"));
    for (const auto misbehaviour :
         {LoopbackServer::Misbehaviour::resetMidBody, LoopbackServer::Misbehaviour::closeMidBody,
          LoopbackServer::Misbehaviour::hugeContentLength, LoopbackServer::Misbehaviour::garbage}) {
        server.setMisbehaviour(misbehaviour);
        server.closeConnections();
        ui.press("Install and Relaunch");
        EXPECT_THAT(awaitMessage(), HasSubstr("was not installed"));
        expectUntouched();
        ui.press("OK");
        server.setMisbehaviour(LoopbackServer::Misbehaviour::none);
        server.closeConnections();
        controller->checkForUpdates();
        ASSERT_TRUE(awaitButton("Install and Relaunch"));
    }
}

TEST_F(UpdatesOverHttps, letTheUserLeaveADownloadFromAServerThatFellSilent) {
    check();
    ASSERT_TRUE(awaitButton("Install and Relaunch"));
    const auto before = server.requests().size();
    server.setMisbehaviour(LoopbackServer::Misbehaviour::neverAnswer);
    server.closeConnections();
    ui.press("Install and Relaunch");
    ASSERT_TRUE(server.waitForRequests(before + 1));
    ui.press("Cancel");
    EXPECT_FALSE(ui.shown);
    expectUntouched();
}

TEST_F(UpdatesOverHttps, refuseAServerThatNobodyVouchesFor) {
    const auto other = test_support::makeCertificate();
    writeText(files / "authority.pem", other.certificate);
    EXPECT_THAT(checkResult(), HasSubstr("cannot be reached"));
    EXPECT_THAT(server.requests(), IsEmpty());
}

} // namespace
} // namespace platform::appcast
