#include "mac/Tessel/Link/DeviceLink.h"

#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/FakeHost.h"
#include "platform/testing/InMemoryPrivateFiles.h"
#include "platform/testing/InMemorySystem.h"
#include "platform/testing/ManualScheduler.h"
#include "platform/testing/ScriptedHttpClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using tessel::Credentials;
using tessel::DeviceLink;
using tessel::DeviceLinkFailure;
using tessel::DeviceLinkPollResponse;
using tessel::DeviceLinkStartResponse;
using tessel::StateStore;
using tessel::Timestamp;
using tessel::Url;
using testing::ElementsAre;
using testing::IsEmpty;

using StartResult = std::expected<DeviceLinkStartResponse, DeviceLinkFailure>;
using PollResult = std::expected<DeviceLinkPollResponse, DeviceLinkFailure>;

PollResult pending() {
    return DeviceLinkPollResponse{.status = "pending"};
}

class DeviceLinkTest : public testing::Test {
  protected:
    class Transport final : public tessel::DeviceLinkTransport {
      public:
        Transport(DeviceLinkTest& test, std::string origin)
            : test_(test)
            , origin_(std::move(origin)) {}
        StartResult startLink(const std::string& name) override {
            EXPECT_FALSE(test_.scheduler.mainQueue().isMainThread());
            test_.note("start " + origin_ + " " + name);
            return test_.onStart();
        }
        PollResult pollLink(const std::string& pollToken) override {
            EXPECT_FALSE(test_.scheduler.mainQueue().isMainThread());
            test_.note("poll " + pollToken);
            return test_.onPoll();
        }

      private:
        DeviceLinkTest& test_;
        std::string origin_;
    };

    DeviceLinkTest() {
        store = std::make_shared<StateStore>(StateStore::Facilities{.fileSystem = files,
                                                                    .privateFiles = privateFiles,
                                                                    .host = host,
                                                                    .clock = scheduler.clock()},
                                             "Zorvane", platform::Environment{});
        link = DeviceLink::create(
            facilities(), store, "Zorvane",
            [this](const Url& asked) {
                return std::make_shared<Transport>(*this, std::string(asked.buffer()));
            },
            [this](const Url& url) { note("open " + std::string(url.buffer())); });
        observe();
    }

    DeviceLink::Facilities facilities() {
        return {.mainQueue = scheduler.mainQueue(),
                .backgroundQueues = scheduler.backgroundQueues(),
                .clock = scheduler.clock(),
                .host = host,
                .http = http,
                .workspace = workspace};
    }

    void observe() {
        link->onChange = [this] { note(described(link->state())); };
        link->onActivity = [this](const std::string& line) { note("activity " + line); };
        link->onLinked = [this](const Credentials& credentials) {
            note("linked " + credentials.token);
            linked.push_back(credentials);
        };
    }

    static std::string described(const DeviceLink::State& state) {
        if (const auto* waiting = std::get_if<DeviceLink::Waiting>(&state)) {
            return "waiting " + waiting->code;
        }
        if (const auto* failed = std::get_if<DeviceLink::Failed>(&state)) {
            return "failed " + failed->message;
        }
        return std::holds_alternative<DeviceLink::Idle>(state) ? "idle" : "starting";
    }

    void note(std::string what) { events.push_back(std::move(what)); }
    std::vector<std::string> taken() { return std::exchange(events, {}); }
    std::string failure() {
        const auto* const failed = std::get_if<DeviceLink::Failed>(&link->state());
        return failed != nullptr ? failed->message : "not failed";
    }
    Timestamp now() { return std::chrono::floor<milliseconds>(scheduler.clock().wallNow()); }

    // An attempt that stands before its first poll.
    void beginAndWait() {
        link->begin(origin, "Device");
        scheduler.runReady();
        taken();
    }
    long pollsWithin(std::chrono::nanoseconds time) {
        taken();
        scheduler.advance(time);
        return std::ranges::count(taken(), "poll P");
    }

    platform::testing::ManualScheduler scheduler;
    platform::testing::InMemoryFiles files;
    platform::testing::InMemoryPrivateFiles privateFiles;
    platform::testing::FakeHost host;
    platform::testing::ScriptedHttpClient http{scheduler};
    platform::testing::Events desktopEvents;
    platform::testing::FakeWorkspace workspace{desktopEvents};

    Url origin{"https://a.example"};
    DeviceLinkStartResponse code{.code = "AB-CD",
                                 .pollToken = "P",
                                 .verifyUrl = "https://a.example/link",
                                 .expiresAt = "tomorrow"};
    DeviceLinkPollResponse approval{.status = "approved", .token = "T", .tokenName = "My Token"};
    std::function<StartResult()> onStart = [this] { return code; };
    std::function<PollResult()> onPoll = [] { return pending(); };

    std::vector<std::string> events;
    std::vector<Credentials> linked;
    std::shared_ptr<StateStore> store;
    std::shared_ptr<DeviceLink> link;
};

TEST_F(DeviceLinkTest, isIdleAtFirst) {
    EXPECT_EQ(link->state(), DeviceLink::State(DeviceLink::Idle{}));
    EXPECT_FALSE(link->isLinking());
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(DeviceLinkTest, startsAtOnceAndAsksTheServiceInTheBackground) {
    link->begin(origin, "Device");
    EXPECT_THAT(taken(), ElementsAre("starting"));
    EXPECT_TRUE(link->isLinking());
    scheduler.runReady();
    EXPECT_THAT(taken(), ElementsAre("start https://a.example Device", "waiting AB-CD",
                                     "activity Linking: confirm code AB-CD in your browser",
                                     "open https://a.example/link"));
    EXPECT_TRUE(link->isLinking());
    EXPECT_EQ(link->state(),
              DeviceLink::State(DeviceLink::Waiting{
                  .code = "AB-CD", .expiry = now() + 600s, .verifyUrl = Url(code.verifyUrl)}));
}

TEST_F(DeviceLinkTest, namesTheDeviceAfterApplicationAndComputer) {
    link->begin(origin);
    scheduler.runReady();
    EXPECT_THAT(events, testing::Contains("start https://a.example Zorvane on Studio"));
    host.name = std::nullopt;
    link->begin(origin);
    scheduler.runReady();
    EXPECT_THAT(events, testing::Contains("start https://a.example Zorvane on this Mac"));
    link->begin(origin, "");
    scheduler.runReady();
    EXPECT_THAT(events, testing::Contains("start https://a.example "));
}

TEST_F(DeviceLinkTest, savesCredentialsAndTellsItsOwnerOnApproval) {
    beginAndWait();
    onPoll = [this] {
        EXPECT_EQ(store->loadCredentials(), std::nullopt);
        return approval;
    };
    scheduler.advance(3s);
    EXPECT_THAT(taken(), ElementsAre("poll P", "idle", "activity Linked as My Token", "linked T"));
    EXPECT_FALSE(link->isLinking());
    const Credentials expected{.token = "T",
                               .serverOrigin = "https://a.example",
                               .tokenName = "My Token",
                               .linkedAt = now()};
    EXPECT_THAT(linked, ElementsAre(expected));
    ASSERT_TRUE(store->loadCredentials());
    EXPECT_EQ(store->loadCredentials()->token, "T");
    scheduler.advance(1h);
    EXPECT_THAT(taken(), IsEmpty()) << "an attempt that ended polls no more";
}

TEST_F(DeviceLinkTest, hasSavedTheCredentialsWhenItTells) {
    beginAndWait();
    onPoll = [this] { return approval; };
    bool saved = false;
    link->onLinked = [&](const Credentials&) { saved = store->loadCredentials().has_value(); };
    scheduler.advance(3s);
    EXPECT_TRUE(saved);
}

TEST_F(DeviceLinkTest, reportsSuccessEvenWhenTheCredentialsCannotBeSaved) {
    privateFiles.failure = EROFS;
    beginAndWait();
    onPoll = [this] { return approval; };
    scheduler.advance(3s);
    EXPECT_EQ(linked.size(), 1U);
    EXPECT_EQ(store->loadCredentials(), std::nullopt);
}

TEST_F(DeviceLinkTest, namesTheTokenAfterTheApplicationWhenTheServiceDoesNot) {
    approval.tokenName = std::nullopt;
    beginAndWait();
    onPoll = [this] { return approval; };
    scheduler.advance(3s);
    EXPECT_EQ(linked.at(0).tokenName, "Zorvane");
    EXPECT_EQ(store->loadCredentials()->tokenName, "Zorvane");
    EXPECT_THAT(taken(), testing::Contains("activity Linked as Zorvane"));
}

TEST_F(DeviceLinkTest, keepsAnEmptyTokenName) {
    approval.tokenName = "";
    beginAndWait();
    onPoll = [this] { return approval; };
    scheduler.advance(3s);
    EXPECT_EQ(linked.at(0).tokenName, "");
}

TEST_F(DeviceLinkTest, failsWhenTheStartRequestFails) {
    onStart = [] { return std::unexpected(DeviceLinkFailure::http(503, "busy")); };
    link->begin(origin, "Device");
    scheduler.runReady();
    EXPECT_THAT(taken(), ElementsAre("starting", "start https://a.example Device",
                                     "failed Could not start linking: HTTP 503: busy",
                                     "activity Could not start linking: HTTP 503: busy"));
    EXPECT_FALSE(link->isLinking());
    scheduler.advance(1h);
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(DeviceLinkTest, opensNoPageOfAnotherOrigin) {
    for (const std::string& url :
         std::vector<std::string>{"http://a.example/link", "https://evil.example/link",
                                  "https://a.example:443/", "", "x"}) {
        code.verifyUrl = url;
        link->begin(origin, "Device");
        scheduler.runReady();
        EXPECT_THAT(taken(), ElementsAre("starting", "start https://a.example Device",
                                         "failed The server sent an unexpected verify URL",
                                         "activity The server sent an unexpected verify URL"))
            << url;
        scheduler.advance(10s);
        EXPECT_THAT(taken(), IsEmpty());
    }
}

TEST_F(DeviceLinkTest, readsTheExpiryWithAndWithoutFraction) {
    const auto expiryOf = [this](const std::string& text) {
        code.expiresAt = text;
        link->begin(origin, "Device");
        scheduler.runReady();
        const auto* const waiting = std::get_if<DeviceLink::Waiting>(&link->state());
        return waiting != nullptr ? waiting->expiry : Timestamp();
    };
    EXPECT_EQ(expiryOf("2097-01-31T09:12:44.123Z"),
              tessel::parseTimestamp("2097-01-31T09:12:44.123Z"));
    EXPECT_EQ(expiryOf("2097-01-31T09:12:44Z"), tessel::parseTimestamp("2097-01-31T09:12:44Z"));
    EXPECT_EQ(expiryOf("2097-01-31T11:12:44+02:00"),
              tessel::parseTimestamp("2097-01-31T09:12:44Z"));
    EXPECT_EQ(expiryOf("9999-12-31T23:59:59Z"), tessel::parseTimestamp("9999-12-31T23:59:59Z"));
    for (const std::string& text :
         std::vector<std::string>{"tomorrow", "", "2097-01-31", "2097-02-30T00:00:00Z"}) {
        EXPECT_EQ(expiryOf(text), now() + 600s) << text;
    }
}

TEST_F(DeviceLinkTest, pollsAtTheServicesPaceButNeverFasterThanOnceASecond) {
    struct Case {
        std::optional<double> interval;
        std::chrono::nanoseconds pause;
    };
    for (const auto& [interval, pause] :
         std::vector<Case>{{std::nullopt, 3s},
                           {0.2, 1s},
                           {1.0, 1s},
                           {2.5, 2500ms},
                           {0.0, 1s},
                           {-7.0, 1s},
                           {std::numeric_limits<double>::quiet_NaN(), 1s},
                           {-std::numeric_limits<double>::infinity(), 1s}}) {
        code.interval = interval;
        beginAndWait();
        EXPECT_EQ(pollsWithin(pause - 1ns), 0) << interval.value_or(-1);
        EXPECT_EQ(pollsWithin(1ns), 1) << interval.value_or(-1);
        EXPECT_EQ(pollsWithin(10 * pause), 10) << interval.value_or(-1);
    }
}

TEST_F(DeviceLinkTest, survivesAnIntervalWithoutMeasure) {
    for (const double interval : {1e300, std::numeric_limits<double>::infinity(), 1e18}) {
        code.interval = interval;
        beginAndWait();
        EXPECT_EQ(pollsWithin(std::chrono::hours(24 * 300)), 0);
    }
}

TEST_F(DeviceLinkTest, goesOnPollingThroughFailures) {
    beginAndWait();
    onPoll = [] { return std::unexpected(DeviceLinkFailure::network("refused")); };
    EXPECT_EQ(pollsWithin(30s), 10);
    onPoll = [] { return std::unexpected(DeviceLinkFailure::http(404, "unknown poll token")); };
    EXPECT_EQ(pollsWithin(30s), 10);
    EXPECT_TRUE(link->isLinking());
    onPoll = [this] { return approval; };
    scheduler.advance(3s);
    EXPECT_EQ(linked.size(), 1U);
}

TEST_F(DeviceLinkTest, failsWhenTheCodeHasExpired) {
    code.expiresAt = tessel::formatTimestamp(now() + 10s);
    beginAndWait();
    scheduler.advance(12s); // polls at 3, 6, 9 and 12, the expiry is seen after the last
    EXPECT_THAT(taken(), ElementsAre("poll P", "poll P", "poll P", "poll P",
                                     "failed The link code expired. Try again.",
                                     "activity The link code expired. Try again."));
    scheduler.advance(1h);
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(DeviceLinkTest, takesTheMomentOfTheExpiryItselfForInTime) {
    code.expiresAt = tessel::formatTimestamp(now() + 3s);
    beginAndWait();
    EXPECT_EQ(pollsWithin(3s), 1);
    EXPECT_TRUE(link->isLinking()) << "now is not later than the expiry";
    EXPECT_EQ(pollsWithin(3s), 1);
    EXPECT_EQ(failure(), "The link code expired. Try again.");
}

TEST_F(DeviceLinkTest, neverPollsForACodeThatHadExpiredBeforeItCame) {
    code.expiresAt = "2001-01-01T00:00:00Z";
    link->begin(origin, "Device");
    scheduler.advance(1h);
    EXPECT_THAT(taken(), ElementsAre("starting", "start https://a.example Device", "waiting AB-CD",
                                     "activity Linking: confirm code AB-CD in your browser",
                                     "open https://a.example/link",
                                     "failed The link code expired. Try again.",
                                     "activity The link code expired. Try again."));
}

TEST_F(DeviceLinkTest, hasOneMessageForEveryOtherStatus) {
    for (const std::string& status :
         std::vector<std::string>{"expired", "denied", "", "Approved", "pending "}) {
        onPoll = [status] { return DeviceLinkPollResponse{.status = status, .token = "T"}; };
        beginAndWait();
        scheduler.advance(3s);
        EXPECT_THAT(taken(),
                    ElementsAre("poll P",
                                "failed The link expired before it was approved. Try again.",
                                "activity The link expired before it was approved. Try again."))
            << status;
    }
    EXPECT_EQ(store->loadCredentials(), std::nullopt);
}

TEST_F(DeviceLinkTest, failsWhenAnApprovalHasNoToken) {
    for (const std::optional<std::string>& token : {std::optional<std::string>(), {""}}) {
        approval.token = token;
        onPoll = [this] { return approval; };
        beginAndWait();
        scheduler.advance(3s);
        EXPECT_EQ(failure(), "The server approved the link but sent no token");
        EXPECT_EQ(store->loadCredentials(), std::nullopt);
    }
}

TEST_F(DeviceLinkTest, isIdleAtOnceWhenItIsCancelled) {
    beginAndWait();
    onPoll = [this] { return approval; };
    link->cancel();
    EXPECT_THAT(taken(), ElementsAre("idle"));
    scheduler.advance(1h);
    EXPECT_THAT(taken(), IsEmpty()) << "not even a poll";
    link->cancel();
    EXPECT_THAT(taken(), ElementsAre("idle"));
}

TEST_F(DeviceLinkTest, tellsNobodyOfAnApprovalThatCameAfterTheCancelButKeepsItsCredentials) {
    beginAndWait();
    onPoll = [this] {
        // The owner cancels while the reply is on its way.
        scheduler.mainQueue().post([this] { link->cancel(); });
        return approval;
    };
    scheduler.advance(1h);
    EXPECT_THAT(taken(), ElementsAre("poll P", "idle"));
    EXPECT_THAT(linked, IsEmpty());
    EXPECT_TRUE(store->loadCredentials());
}

TEST_F(DeviceLinkTest, showsOnlyTheSecondOfTwoQuickAttempts) {
    link->begin(Url("https://first.example"), "One");
    code.verifyUrl = "https://second.example/link";
    link->begin(Url("https://second.example"), "Two");
    scheduler.runReady();
    EXPECT_THAT(taken(), ElementsAre("starting", "starting", "start https://first.example One",
                                     "start https://second.example Two", "waiting AB-CD",
                                     "activity Linking: confirm code AB-CD in your browser",
                                     "open https://second.example/link"));
    EXPECT_EQ(pollsWithin(30s), 10) << "the first attempt polls too";
}

TEST_F(DeviceLinkTest, startsANewAttemptWithoutWaitingForThePauseOfTheOldOne) {
    code.interval = 3600.0;
    beginAndWait();
    code.interval = 1.0;
    link->begin(origin, "Again");
    scheduler.runReady();
    EXPECT_THAT(taken(), ElementsAre("starting", "start https://a.example Again", "waiting AB-CD",
                                     "activity Linking: confirm code AB-CD in your browser",
                                     "open https://a.example/link"));
    EXPECT_EQ(pollsWithin(10s), 10);
    link->cancel();
    EXPECT_EQ(pollsWithin(2h), 0) << "the old attempt woke up";
}

TEST_F(DeviceLinkTest, dropsTheCodeOfAnAttemptThatWasCancelledWhileItStarted) {
    link->begin(origin, "Device");
    onStart = [this] {
        scheduler.mainQueue().post([this] { link->cancel(); });
        return code;
    };
    scheduler.advance(1h);
    EXPECT_THAT(taken(), ElementsAre("starting", "start https://a.example Device", "idle"));
}

TEST_F(DeviceLinkTest, leavesAFailureInPlaceUntilTheNextAttempt) {
    onStart = [] { return std::unexpected(DeviceLinkFailure::network("refused")); };
    link->begin(origin, "Device");
    scheduler.advance(24h);
    EXPECT_EQ(failure(), "Could not start linking: network: refused");
    onStart = [this] { return code; };
    beginAndWait();
    EXPECT_TRUE(link->isLinking());
}

TEST_F(DeviceLinkTest, reopensTheApprovalPageWhileACodeWaits) {
    link->reopenApproval();
    EXPECT_THAT(taken(), IsEmpty());
    link->begin(origin, "Device");
    taken();
    link->reopenApproval();
    EXPECT_THAT(taken(), IsEmpty()) << "starting";
    scheduler.runReady();
    taken();
    link->reopenApproval();
    link->reopenApproval();
    EXPECT_THAT(taken(), ElementsAre("open https://a.example/link", "open https://a.example/link"));
    link->cancel();
    taken();
    link->reopenApproval();
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(DeviceLinkTest, needsNoCallbacks) {
    link->onChange = {};
    link->onActivity = {};
    link->onLinked = {};
    beginAndWait();
    onPoll = [this] { return approval; };
    scheduler.advance(3s);
    EXPECT_EQ(described(link->state()), "idle");
    EXPECT_TRUE(store->loadCredentials());
}

TEST_F(DeviceLinkTest, mayBeCancelledAndBegunAgainFromItsOwnCallbacks) {
    int left = 1;
    link->onChange = [this, &left] {
        note(described(link->state()));
        if (std::holds_alternative<DeviceLink::Waiting>(link->state()) && left-- > 0) {
            link->begin(origin, "Again");
        }
    };
    link->begin(origin, "Device");
    scheduler.runReady();
    EXPECT_EQ(described(link->state()), "waiting AB-CD");
    EXPECT_EQ(pollsWithin(30s), 10);
}

TEST_F(DeviceLinkTest, mayBeLetGoFromItsOwnCallbacks) {
    link->onChange = [this] {
        if (std::holds_alternative<DeviceLink::Waiting>(link->state())) {
            link.reset();
        }
    };
    link->begin(origin, "Device");
    scheduler.advance(1h);
    EXPECT_EQ(link, nullptr);
    EXPECT_EQ(std::ranges::count(events, "poll P"), 0);
}

TEST_F(DeviceLinkTest, asksNothingOnceItIsGone) {
    link->begin(origin, "Device");
    taken();
    link.reset();
    scheduler.advance(1h);
    EXPECT_THAT(taken(), IsEmpty()) << "gone before its worker ran";
}

TEST_F(DeviceLinkTest, stopsPollingOnceItIsGone) {
    beginAndWait();
    EXPECT_EQ(pollsWithin(6s), 2);
    link.reset();
    EXPECT_EQ(pollsWithin(1h), 0);
    EXPECT_EQ(scheduler.pendingTasks(), 0U);
}

// Facilities that know whether they are still there for anybody.
class MainQueueUntilGone final : public platform::MainQueue {
  public:
    MainQueueUntilGone(platform::MainQueue& real, const bool& isGone)
        : real_(real)
        , isGone_(isGone) {}
    void post(platform::Task task) override { postAfter({}, std::move(task)); }
    void postAfter(std::chrono::nanoseconds delay, platform::Task task) override {
        EXPECT_FALSE(isGone_) << "the main queue";
        real_.postAfter(delay, std::move(task));
    }
    [[nodiscard]] bool isMainThread() const override { return real_.isMainThread(); }

  private:
    platform::MainQueue& real_;
    const bool& isGone_;
};

class ClockUntilGone final : public platform::Clock {
  public:
    ClockUntilGone(platform::Clock& real, const bool& isGone)
        : real_(real)
        , isGone_(isGone) {}
    [[nodiscard]] platform::SteadyTime now() const override {
        EXPECT_FALSE(isGone_) << "the clock";
        return real_.now();
    }
    [[nodiscard]] platform::WallTime wallNow() const override {
        EXPECT_FALSE(isGone_) << "the clock";
        return real_.wallNow();
    }

  private:
    platform::Clock& real_;
    const bool& isGone_;
};

TEST_F(DeviceLinkTest, usesNoFacilityOnceItIsGone) {
    const StartResult accepted = code;
    const StartResult refused = std::unexpected(DeviceLinkFailure::network("down"));
    const PollResult ended = DeviceLinkPollResponse{.status = "expired"};
    const std::vector<std::pair<StartResult, PollResult>> answers = {
        {accepted, approval}, {accepted, ended}, {accepted, pending()}, {refused, pending()}};
    for (const bool isDroppedAtPoll : {false, true}) {
        for (const auto& [started, polled] : answers) {
            bool isGone = false;
            MainQueueUntilGone mainQueue(scheduler.mainQueue(), isGone);
            ClockUntilGone clock(scheduler.clock(), isGone);
            const auto drop = [&] {
                link.reset();
                isGone = true;
            };
            onStart = [&] {
                if (!isDroppedAtPoll) {
                    drop();
                }
                return started;
            };
            onPoll = [&] {
                drop();
                return polled;
            };
            link = DeviceLink::create(
                {.mainQueue = mainQueue,
                 .backgroundQueues = scheduler.backgroundQueues(),
                 .clock = clock,
                 .host = host,
                 .http = http,
                 .workspace = workspace},
                store, "Zorvane",
                [this](const Url& asked) {
                    return std::make_shared<Transport>(*this, std::string(asked.buffer()));
                },
                [](const Url&) {});
            link->begin(origin, "Device");
            scheduler.advance(1h);
            EXPECT_TRUE(isGone || !started);
            EXPECT_EQ(store->loadCredentials(), std::nullopt) << "the disk, too, is a facility";
            link.reset();
        }
    }
}

TEST_F(DeviceLinkTest, takesTheHttpTransportAndTheWorkspaceByDefault) {
    link = DeviceLink::create(facilities(), store, "Zorvane");
    EXPECT_FALSE(link->isLinking());
    link->begin(origin, "Device");
    link->cancel();
    EXPECT_THAT(http.requests, IsEmpty());
}

TEST_F(DeviceLinkTest, speaksOfTheTokensToNobody) {
    code.pollToken = "poll-secret";
    approval.token = "token-secret";
    link->onLinked = {};
    link->begin(origin, "Device");
    scheduler.runReady();
    onPoll = [this] { return approval; };
    scheduler.advance(3s);
    ASSERT_EQ(described(link->state()), "idle");
    for (const auto& line : events) {
        EXPECT_THAT(line, testing::Not(testing::HasSubstr("token-secret")));
        if (!line.starts_with("poll ")) { // what the transport was asked
            EXPECT_THAT(line, testing::Not(testing::HasSubstr("poll-secret")));
        }
    }
}

using DeviceLinkDeathTest = DeviceLinkTest;

TEST_F(DeviceLinkDeathTest, trapsOnOtherThreads) {
    scheduler.leaveMainThread();
    EXPECT_DEATH(link->begin(origin), "main thread");
    EXPECT_DEATH(link->cancel(), "main thread");
    EXPECT_DEATH(link->reopenApproval(), "main thread");
}

} // namespace
