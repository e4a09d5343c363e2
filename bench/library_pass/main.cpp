// How long the library summary takes when every request costs the server 50 ms: the modes, the
// libraries, then the totals of 100 entity types. Three answers one after the other are 150 ms;
// what is above that is ours. Prints the median of 11 passes, after one that opens the connections.
#include "mac/OstraCore/LibrarySummary.h"
#include "platform/posix/CurlHttpClient.h"
#include "tests/support/fasttime/FastTime.h"
#include "tests/support/loopback/LoopbackServer.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using test_support::LoopbackServer;
using Summary = std::optional<ostra::LibrarySummary>;

constexpr int modes = 20;
constexpr int typesOfMode = 5;
constexpr int passes = 11;

std::string modesReply() {
    std::string reply;
    for (int mode = 0; mode < modes; ++mode) {
        std::string types;
        for (int type = 0; type < typesOfMode; ++type) {
            types += fmt::format(R"({}{{"id":"m{}.t{}.track","name":"track"}})",
                                 types.empty() ? "" : ",", mode, type);
        }
        reply += fmt::format(R"({}{{"id":"m{}","name":"Mode {}","entityTypes":[{}]}})",
                             reply.empty() ? "" : ",", mode, mode, types);
    }
    return "[" + reply + "]";
}

LoopbackServer::Reply answer(const LoopbackServer::Request& request) {
    std::this_thread::sleep_for(50ms);
    if (request.target == "/api/modes") {
        return {.body = modesReply()};
    }
    return {.headers = {{"X-Total-Count", "1"}}, .body = "[]"};
}

} // namespace

int main() {
    const LoopbackServer server(answer);
    test_support::FastTime time(1);
    platform::CurlHttpClient http;
    std::vector<double> milliseconds;
    for (int pass = 0; pass <= passes; ++pass) {
        std::promise<Summary> done;
        const auto start = std::chrono::steady_clock::now();
        ostra::LibrarySummaryClient::fetch(
            ostra::Url(server.url()), http, time.backgroundQueues(),
            [&done](Summary summary) { done.set_value(std::move(summary)); });
        const Summary summary = done.get_future().get();
        const std::chrono::duration<double, std::milli> took =
            std::chrono::steady_clock::now() - start;
        if (!summary || summary->totalItems() != modes * typesOfMode) {
            fmt::print(stderr, "library_pass: the pass did not count everything\n");
            return EXIT_FAILURE;
        }
        milliseconds.push_back(took.count());
    }
    const double first = milliseconds.front();
    milliseconds.erase(milliseconds.begin());
    std::ranges::sort(milliseconds);
    fmt::print("library pass, 100 types, 50 ms an answer: median {:.1f} ms, first {:.1f} ms, "
               "slowest {:.1f} ms\n",
               milliseconds[passes / 2], first, milliseconds.back());
    return EXIT_SUCCESS;
}
