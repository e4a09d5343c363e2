// The curl back end under the contract, and what is its own: proxies and an idle thread.
#include "platform/posix/CurlHttpClient.h"

#include "tests/platform/services/HttpContract.h"
#include "tests/platform/services/ScopedVariable.h"
#include "tests/platform/services/ThreadCosts.h"

#include <sys/resource.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace {

using platform::CurlHttpClient;

std::unique_ptr<platform::HttpClient> makeCurl() {
    return std::make_unique<CurlHttpClient>();
}

INSTANTIATE_TEST_SUITE_P(Curl, HttpContract, testing::Values(makeCurl));

platform::HttpResult fetch(platform::HttpClient& client, const std::string& url,
                           int maxRedirects = 0) {
    platform::HttpRequest request;
    request.url = url;
    request.maxRedirects = maxRedirects;
    request.timeout = std::chrono::seconds(20);
    std::promise<platform::HttpResult> promise;
    client.send(request,
                [&promise](platform::HttpResult result) { promise.set_value(std::move(result)); });
    return promise.get_future().get();
}

// Every proxy variable points to `proxy`; no_proxy says that nothing is excepted.
class ProxyEverywhere {
  public:
    explicit ProxyEverywhere(const LoopbackServer& proxy)
        : http("http_proxy", proxy.url())
        , all("all_proxy", proxy.url())
        , upperAll("ALL_PROXY", proxy.url())
        , no("no_proxy", "")
        , upperNo("NO_PROXY", "") {}

  private:
    ScopedVariable http;
    ScopedVariable all;
    ScopedVariable upperAll;
    ScopedVariable no;
    ScopedVariable upperNo;
};

TEST(CurlHttpClient, neverAsksAProxyForALoopbackHost) {
    const LoopbackServer proxy;
    const ProxyEverywhere environment(proxy);
    LoopbackServer server;
    CurlHttpClient client;
    const auto port = std::to_string(server.port());

    for (const std::string host :
         {"127.0.0.1", "localhost", "LocalHost", "127.1", "2130706433", "0x7f.0.0.1"}) {
        const auto result = fetch(client, "http://" + host + ":" + port + "/");
        EXPECT_TRUE(result) << host << ": " << result.error().message;
    }
    // Nothing listens there, but nobody else may be asked either.
    for (const std::string host : {"127.0.0.2", "127.255.255.254", "[::1]", "[0:0:0::1]"}) {
        const auto result = fetch(client, "http://" + host + ":" + port + "/");
        EXPECT_FALSE(result) << host;
    }

    EXPECT_EQ(proxy.connectionCount(), 0U);
}

TEST(CurlHttpClient, asksTheProxyForOtherHosts) {
    const LoopbackServer proxy;
    const ProxyEverywhere environment(proxy);
    CurlHttpClient client;

    const auto result = fetch(client, "http://media.example/list");

    ASSERT_TRUE(result) << result.error().message;
    EXPECT_EQ(proxy.requests().at(0).target, "http://media.example/list");
}

TEST(CurlHttpClient, leavesTheProxyWhenAnotherHostRedirectsToALoopbackHost) {
    LoopbackServer server;
    const LoopbackServer proxy([&server](const auto&) {
        return LoopbackServer::Reply{.status = 302, .headers = {{"Location", server.url("/in")}}};
    });
    const ProxyEverywhere environment(proxy);
    CurlHttpClient client;

    const auto result = fetch(client, "http://media.example/", 1);

    ASSERT_TRUE(result) << result.error().message;
    EXPECT_EQ(proxy.requests().size(), 1U);
    EXPECT_EQ(server.requests().at(0).target, "/in");
}

TEST(CurlHttpClient, keepsTheExceptionsThatTheEnvironmentMakes) {
    const LoopbackServer proxy;
    const ProxyEverywhere environment(proxy);
    const ScopedVariable no("no_proxy", "unreachable.invalid");
    CurlHttpClient client;

    EXPECT_FALSE(fetch(client, "http://unreachable.invalid/"));
    EXPECT_EQ(proxy.connectionCount(), 0U);
}

TEST(CurlHttpClient, usesAConnectionAgain) {
    LoopbackServer server;
    CurlHttpClient client;
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(fetch(client, server.url()));
    }
    EXPECT_EQ(server.connectionCount(), 1U);
}

TEST(CurlHttpClient, startsItsThreadWithTheFirstRequestAndSleepsAfterTheLast) {
    const auto before = threadIds();
    CurlHttpClient client;
    EXPECT_EQ(threadIds(), before);
    LoopbackServer server;
    const auto withServer = threadIds();

    ASSERT_TRUE(fetch(client, server.url()));

    const auto http = waitForThreadNamed("http", withServer);
    ASSERT_TRUE(http);
    ASSERT_TRUE(waitUntilAsleep(*http));
    const auto switches = contextSwitches(*http);
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // nothing to wait for: that is it
    EXPECT_EQ(contextSwitches(*http), switches);
}

TEST(CurlHttpClient, answersWithAnErrorWhileTheSystemHasNoThreadForIt) {
    LoopbackServer server;
    CurlHttpClient client(
        {.startThread = [refused = false](const char* name, std::function<void()> body) mutable {
            if (!std::exchange(refused, true)) {
                throw std::system_error(EAGAIN, std::generic_category());
            }
            return platform::posix::startQuietThread(name, std::move(body));
        }});
    const auto first = fetch(client, server.url());
    ASSERT_FALSE(first);
    EXPECT_EQ(first.error().kind, platform::HttpError::Kind::cannotConnect);
    EXPECT_TRUE(fetch(client, server.url()));
}

TEST(CurlHttpClient, runs128ExchangesAtOnceAndLetsOthersTimeOutAsTheyWait) {
    std::promise<void> permission;
    const std::shared_future<void> permitted(permission.get_future());
    LoopbackServer server([&permitted](const auto&) {
        permitted.wait();
        return LoopbackServer::Reply{};
    });
    std::atomic<int> answered = 0;
    std::promise<void> allAnswered;
    CurlHttpClient client;
    for (int i = 0; i < 300; ++i) {
        platform::HttpRequest request;
        request.url = server.url();
        client.send(request, [&](const platform::HttpResult& result) {
            if (result && ++answered == 300) {
                allAnswered.set_value();
            }
        });
    }
    EXPECT_TRUE(server.waitForRequests(128));

    for (const bool idle : {false, true}) {
        platform::HttpRequest impatient;
        impatient.url = server.url();
        (idle ? impatient.idleTimeout.emplace() : impatient.timeout) =
            std::chrono::milliseconds(50);
        std::promise<platform::HttpResult> promise;
        client.send(impatient, [&promise](platform::HttpResult result) {
            promise.set_value(std::move(result));
        });
        const auto result = promise.get_future().get();
        EXPECT_EQ(result ? std::nullopt : std::optional(result.error().kind),
                  platform::HttpError::Kind::timedOut);
    }
    EXPECT_EQ(server.connectionCount(), 128U);
    permission.set_value();

    EXPECT_EQ(allAnswered.get_future().wait_for(std::chrono::seconds(50)),
              std::future_status::ready);
    EXPECT_EQ(server.requests().size(), 300U);
}

TEST(CurlHttpClient, leavesDescriptorsToOthersWhereThereAreFew) {
    std::promise<void> permission;
    const std::shared_future<void> permitted(permission.get_future());
    LoopbackServer server([&permitted](const auto&) {
        permitted.wait();
        return LoopbackServer::Reply{};
    });
    struct rlimit before = {};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const struct rlimit few = {.rlim_cur = 64, .rlim_max = before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
    CurlHttpClient client;
    ::setrlimit(RLIMIT_NOFILE, &before);
    std::atomic<int> answered = 0;
    std::promise<void> allAnswered;
    for (int i = 0; i < 60; ++i) {
        platform::HttpRequest request;
        request.url = server.url();
        client.send(request, [&](const platform::HttpResult& result) {
            if (result && ++answered == 60) {
                allAnswered.set_value();
            }
        });
    }
    EXPECT_TRUE(server.waitForRequests(12));
    platform::HttpRequest impatient;
    impatient.url = server.url();
    impatient.timeout = std::chrono::milliseconds(50);
    std::promise<void> over;
    client.send(impatient, [&over](const platform::HttpResult&) { over.set_value(); });
    over.get_future().get();
    EXPECT_EQ(server.connectionCount(), 12U);
    permission.set_value();
    EXPECT_EQ(allAnswered.get_future().wait_for(std::chrono::seconds(50)),
              std::future_status::ready);
}

TEST(CurlHttpClient, cancelsWhatWaitsForItsTurn) {
    std::atomic<int> cancelled = 0;
    const LoopbackServer server(LoopbackServer::Misbehaviour::neverAnswer);
    {
        CurlHttpClient client;
        for (int i = 0; i < 300; ++i) {
            platform::HttpRequest request;
            request.url = server.url();
            client.send(request, [&cancelled](const platform::HttpResult& result) {
                cancelled +=
                    !result && result.error().kind == platform::HttpError::Kind::cancelled ? 1 : 0;
            });
        }
        EXPECT_TRUE(server.waitForRequests(128));
    }
    EXPECT_EQ(cancelled, 300);
    EXPECT_EQ(server.requests().size(), 128U);
}

TEST(CurlHttpClient, leavesNoDescriptorBehind) {
    const auto once = [] {
        LoopbackServer server;
        CurlHttpClient client;
        EXPECT_TRUE(fetch(client, server.url()));
    };
    once(); // libraries open what they keep
    const auto before = openDescriptors();
    once();
    EXPECT_EQ(openDescriptors(), before);
}

TEST(CurlHttpClient, doesNotHandItsConnectionsToChildren) {
    LoopbackServer server;
    CurlHttpClient client;
    ASSERT_TRUE(fetch(client, server.url()));
    for (const int descriptor : openDescriptors()) {
        if (isInternetSocket(descriptor)) {
            EXPECT_TRUE(isClosedOnExec(descriptor)) << descriptor;
        }
    }
}

} // namespace
