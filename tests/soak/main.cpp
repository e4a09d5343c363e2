// The real application for a long time on a desktop of its own: its menu is opened five times a
// second, while its server is killed and the tray restarted at random. Every tray must get exactly
// one item within a second and every opening a whole menu; at the end the menu must say what is
// true, and the application must occupy what it did after the warm-up (a quarter of the time, at
// most two minutes). Says what it saw, and exits with 1 when something was wrong.
// Usage: soak [SECONDS [SEED]]
#include "tests/desktop/session/DesktopSession.h"
#include "tests/desktop/session/ExpectedMenu.h"
#include "tests/desktop/session/Waiting.h"
#include "tests/soak/Usage.h"
#include "tests/support/backgroundtray/BackgroundTray.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <random>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace soak {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;
using test_support::BackgroundTray;

constexpr auto openingInterval = 200ms;
constexpr auto openingLimit = 2s;
constexpr auto registrationLimit = 1s;
constexpr auto settlingLimit =
    60s; // a restart may have to wait ten seconds, then the server starts

// What may differ between two quiet moments of an application that leaks nothing: a kept-alive
// connection or two, a pool's idle thread, and the allocator's and the page cache's breath.
constexpr std::size_t descriptorSlack = 4;
constexpr std::size_t threadSlack = 4;
constexpr double residentSlackMiB = 8;

class Soak {
  public:
    explicit Soak(unsigned seed)
        : random_(seed) {
        newTray();
        application_ = session_.start({ZORVANE_APPLICATION}, "application");
    }

    [[nodiscard]] bool run(std::chrono::seconds duration);

  private:
    void disturb(Clock::time_point end);
    void openMenu();
    void killServer();
    void restartTray();
    void newTray();
    void awaitRegistration();
    // Waits until the application is at rest with a healthy server, and tells what it occupies.
    Usage settled();
    [[nodiscard]] std::vector<std::string> expectedMenu() const;
    void compare(const Usage& before, const Usage& after);
    void end();

    void wrong(const std::string& what) {
        ++faults_;
        fmt::print("WRONG: {}\n", what);
        std::fflush(stdout);
    }
    [[nodiscard]] Clock::time_point inMs(int least, int most) {
        return Clock::now() +
               std::chrono::milliseconds(std::uniform_int_distribution(least, most)(random_));
    }

    std::mt19937 random_;
    desktop::DesktopSession session_;
    std::unique_ptr<BackgroundTray> tray_;
    std::unique_ptr<desktop::Program> application_;
    std::string item_;
    std::vector<double> openings_; // ms
    std::vector<double> registrations_;
    int kills_ = 0;
    int faults_ = 0;
};

void Soak::newTray() {
    tray_ = std::make_unique<BackgroundTray>(session_.environment.at("DBUS_SESSION_BUS_ADDRESS"));
}

void Soak::awaitRegistration() {
    const auto start = Clock::now();
    if (!desktop::eventually([this] { return !tray_->registered().empty(); })) {
        throw std::runtime_error("no item comes to a tray");
    }
    registrations_.push_back(Milliseconds(Clock::now() - start).count());
    item_ = tray_->registered().front();
}

void Soak::restartTray() {
    if (tray_->registered().size() != 1) {
        wrong(fmt::format("{} registrations with one tray", tray_->registered().size()));
    }
    tray_.reset();
    std::this_thread::sleep_until(inMs(0, 500));
    newTray();
    awaitRegistration();
    if (registrations_.back() > Milliseconds(registrationLimit).count()) {
        wrong(fmt::format("a registration took {:.0f} ms", registrations_.back()));
    }
}

void Soak::killServer() {
    for (const desktop::Process& process : session_.processes()) {
        if (nameOf(process) == "ostrad") {
            const bool politely = std::uniform_int_distribution(0, 3)(random_) == 0;
            ::kill(process.pid, politely ? SIGTERM : SIGKILL);
            ++kills_;
        }
    }
}

void Soak::openMenu() {
    const auto start = Clock::now();
    const std::vector<std::string> menu = tray_->openMenu(item_).items;
    const auto took = Clock::now() - start;
    openings_.push_back(Milliseconds(took).count());
    if (took > openingLimit) {
        wrong(fmt::format("an opening took {:.0f} ms", openings_.back()));
    }
    // A header, the server's line, the window's item and so on to the quit, whatever the state.
    const auto has = [&](const char* title) { return std::ranges::count(menu, title) == 1; };
    if (menu.size() < 9 || !menu[0].starts_with("[Zorvane ") || !menu[1].starts_with("[Server: ") ||
        !has("Show Zorvane Window") || !has("Restart Server") ||
        menu.back() != "Quit Zorvane & Stop Server") {
        wrong(fmt::format("an opened menu: {}", fmt::join(menu, " | ")));
    }
}

void Soak::disturb(Clock::time_point end) {
    auto nextKill = inMs(1000, 10'000);
    auto nextRestart = inMs(1000, 10'000);
    for (auto next = Clock::now(); next < end;
         next = std::max(next + openingInterval, Clock::now())) {
        std::this_thread::sleep_until(next);
        if (next >= nextKill) {
            killServer();
            nextKill = inMs(2000, 30'000);
        }
        if (next >= nextRestart) {
            restartTray();
            nextRestart = inMs(500, 6000);
        }
        openMenu();
    }
}

// With the bundled server, nothing configured and no account.
std::vector<std::string> Soak::expectedMenu() const {
    static const std::regex launch(R"(ostrad spawned \(pid \d+\) on 127\.0\.0\.1:(\d+), )");
    const std::string log = application_->standardError();
    std::string port;
    for (std::sregex_iterator match(log.begin(), log.end(), launch), last; match != last; ++match) {
        port = (*match)[1];
    }
    return desktop::menuOfAFreshServer("[Zorvane " ZORVANE_VERSION "]",
                                       fmt::format("http://127.0.0.1:{}/", port));
}

Usage Soak::settled() {
    std::vector<std::string> menu;
    const bool asExpected = desktop::eventually(
        [&] {
            std::this_thread::sleep_for(openingInterval);
            menu = tray_->openMenu(item_).items;
            return menu == expectedMenu();
        },
        settlingLimit);
    if (!asExpected) {
        wrong(fmt::format("the menu at rest: {}", fmt::join(menu, " | ")));
    }
    std::this_thread::sleep_for(5s); // the page is loaded, idle threads and connections have gone
    if (tray_->registered().size() != 1) {
        wrong(fmt::format("{} registrations with one tray", tray_->registered().size()));
    }
    return usageOf(application_->pid(), session_.processes());
}

void Soak::compare(const Usage& before, const Usage& after) {
    if (after.processes != before.processes) {
        wrong("other processes than after the warm-up");
    }
    const auto served = after.processes.find("ostrad");
    if (served == after.processes.end() || served->second != 1) {
        wrong("not exactly one server");
    }
    if (after.descriptors > before.descriptors + descriptorSlack) {
        wrong(fmt::format("more than {} new descriptors", descriptorSlack));
    }
    if (after.threads > before.threads + threadSlack) {
        wrong(fmt::format("more than {} new threads", threadSlack));
    }
    if (after.residentMiB > before.residentMiB + residentSlackMiB) {
        wrong(fmt::format("more than {} MiB of new memory", residentSlackMiB));
    }
}

void Soak::end() {
    application_->signal(SIGTERM);
    const auto status = application_->waitForExit(desktop::patience);
    if (status != 0) {
        wrong(fmt::format("the application ended with {}", status.value_or(-1)));
    }
    if (!desktop::eventually([this] { return session_.processes().empty(); })) {
        wrong("left behind:\n" + desktop::describe(session_.processes()));
    }
}

std::string percentiles(std::vector<double> values) {
    std::ranges::sort(values);
    return fmt::format("{} times, p50 {:.1f} ms, p99 {:.1f} ms, slowest {:.1f} ms", values.size(),
                       values[values.size() / 2], values[values.size() * 99 / 100], values.back());
}

bool Soak::run(std::chrono::seconds duration) {
    awaitRegistration();
    registrations_.clear(); // that was a launch
    if (!desktop::eventually([this] { return tray_->canOpenMenu(item_); })) {
        wrong("the item has no menu");
    }
    const auto start = Clock::now();
    try {
        disturb(start + std::min<std::chrono::seconds>(duration / 4, 120s));
        const Usage before = settled();
        fmt::print("after {:.0f} s: {}\n",
                   std::chrono::duration<double>(Clock::now() - start).count(), describe(before));
        std::fflush(stdout);
        disturb(start + duration);
        const Usage after = settled();
        fmt::print("after {:.0f} s: {}\n",
                   std::chrono::duration<double>(Clock::now() - start).count(), describe(after));
        fmt::print("menu opened {}\n", percentiles(openings_));
        fmt::print("tray restarted, item registered again {}\n", percentiles(registrations_));
        fmt::print("server killed {} times\n", kills_);
        compare(before, after);
    } catch (const std::exception& error) {
        wrong(error.what());
    }
    end();
    if (faults_ > 0) {
        session_.keepEvidence(ZORVANE_FAILURES_DIR, "soak");
        fmt::print("{} faults; the application's output is in {}\n", faults_, ZORVANE_FAILURES_DIR);
    }
    return faults_ == 0;
}

} // namespace
} // namespace soak

int main(int argc, char** argv) {
    const std::chrono::seconds duration(argc > 1 ? std::atoi(argv[1]) : 600);
    const unsigned seed = argc > 2 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10))
                                   : std::random_device{}();
    if (duration < std::chrono::seconds(20)) {
        fmt::print(stderr, "usage: soak [SECONDS [SEED]], 20 s or more\n");
        return EXIT_FAILURE;
    }
    fmt::print("soaking for {} s, seed {}\n", duration.count(), seed);
    std::fflush(stdout);
    try {
        return soak::Soak(seed).run(duration) ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        fmt::print(stderr, "soak: {}\n", error.what());
        return EXIT_FAILURE;
    }
}
