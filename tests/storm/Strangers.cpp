// The application started beside a stranger who takes the server's port whenever it is free, and
// answers every request. Each start must end in a healthy server of ours or in a named error, and
// the stranger must be asked for its health only, without a cookie.
#include "tests/desktop/session/PortStealer.h"
#include "tests/desktop/session/TrayHost.h"
#include "tests/desktop/session/Waiting.h"
#include "tests/storm/Storm.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <thread>

namespace storm {
namespace {

using namespace std::chrono_literals;

constexpr auto longestTenure = 400ms;
constexpr auto verdictLimit = 60s; // forty probes, half a second each at least, on a busy machine

std::optional<std::uint16_t> savedPort(const desktop::DesktopSession& session) {
    std::ifstream file(session.configHome() / "app.zorvane" / "defaults.ini");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    static const std::regex entry(R"(sidecarPort=(\d+))");
    std::smatch match;
    if (!std::regex_search(text, match, entry)) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(std::stoi(match[1]));
}

// What the menu says of the server: "Online", or the reason of an error; empty before either.
std::string verdictIn(const std::vector<std::string>& menu) {
    if (menu.size() < 3) {
        return {};
    }
    if (menu[1] == "[Server: Online]") {
        return "Online";
    }
    constexpr std::string_view reason = "[Reason: ";
    return menu[1] == "[Server: Error]" && menu[2].starts_with(reason)
               ? menu[2].substr(reason.size(), menu[2].size() - reason.size() - 1)
               : std::string();
}

bool isNamed(const std::string& reason) {
    return std::ranges::any_of(
        std::vector<std::string>{"ostrad not found ", "failed to launch ostrad: ",
                                 "server never became healthy on port ", "server exited (status "},
        [&](const std::string& beginning) { return reason.starts_with(beginning); });
}

struct Tally {
    int healthy = 0;
    int errors = 0;
    int thefts = 0;
    std::size_t misdirected = 0;
};

void startOnce(Storm& storm, Tally& tally) {
    const auto port = savedPort(storm.session());
    std::optional<desktop::PortStealer> stealer;
    if (port) {
        stealer.emplace(*port, longestTenure);
    }
    const auto application = storm.start();
    desktop::TrayHost tray(storm.session());
    std::string verdict;
    if (tray.hasItem()) {
        (void)desktop::eventually(
            [&] {
                std::this_thread::sleep_for(50ms);
                verdict = verdictIn(tray.openMenu());
                return !verdict.empty();
            },
            verdictLimit);
    }
    if (verdict == "Online") {
        ++tally.healthy;
        if (!isServed(application->standardError())) {
            storm.wrong("a stranger was taken for our server:\n" + application->standardError());
        }
    } else if (isNamed(verdict)) {
        ++tally.errors;
    } else {
        storm.wrong(fmt::format("beside a stranger: neither healthy nor an error, but '{}':\n{}",
                                verdict, application->standardError()));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(storm.between(0, 500)));
    storm.quit(*application, "beside a stranger");
    if (stealer) {
        tally.thefts += stealer->thefts();
        if (const auto requests = stealer->misdirected(); !requests.empty()) {
            tally.misdirected += requests.size();
            storm.wrong(fmt::format("a stranger was asked: {}", fmt::join(requests, " | ")));
        }
    }
}

void startBesideStrangers(Storm& storm) {
    const int starts = 2 * storm.scale().kills;
    Tally tally;
    for (int turn = 0; turn < starts; ++turn) {
        startOnce(storm, tally);
    }
    storm.say(
        fmt::format("{} starts beside a stranger who took the port {} times: {} healthy, {} a "
                    "named error, {} requests to him",
                    starts, tally.thefts, tally.healthy, tally.errors, tally.misdirected));
}

} // namespace

const std::vector<Part>& strangers() {
    static const std::vector<Part> parts{{"strangers", &startBesideStrangers}};
    return parts;
}

} // namespace storm
