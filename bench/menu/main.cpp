// What an opening of the status menu costs when the server has 40 media modes: computing the menu,
// a panel's AboutToShow and complete GetLayout over a private session bus, and memory. The
// application's delegate and the tray's objects are the real ones; the server below and the rest
// of the desktop are fakes. The panel has a connection and a thread of its own. Fails when 10,000
// openings, each followed by other counts in every line, keep more than 64 KiB that 100 openings
// did not: 7 bytes an opening, less than any allocation.
#include "platform/linux/text/IcuNumberFormatter.h"
#include "platform/linux/tray/TrayStatusItem.h"
#include "tests/support/backgroundtray/BackgroundTray.h"
#include "tests/unit/Zorvane/FakeShell.h"

#include <fmt/format.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using platform::tray::TrayStatusItem;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int modes = 40;
constexpr std::ptrdiff_t growthBound = 64 * 1024;

class Tray final : public platform::StatusBar {
  public:
    explicit Tray(platform::Log& log)
        : log_(log) {}

    [[nodiscard]] std::unique_ptr<platform::StatusItem> makeStatusItem() override {
        auto made =
            std::make_unique<TrayStatusItem>("app.zorvane", ZORVANE_RESOURCES, nullptr, log_);
        item = made.get();
        return made;
    }

    TrayStatusItem* item = nullptr;

  private:
    platform::Log& log_;
};

// The application, from its launch to a running server, with everything its menu can show.
class Shell {
  public:
    Shell() {
        fakes_.http.script = [this](const platform::HttpRequest& request) {
            return answer(request);
        };
        const auto faked = fakes_.shellFacilities();
        delegate_ = zorvane::AppDelegate::create({.application = faked.application,
                                                  .notifications = faked.notifications,
                                                  .windows = faked.windows,
                                                  .statusBar = tray_,
                                                  .menuBar = faked.menuBar,
                                                  .pasteboard = faked.pasteboard,
                                                  .workspace = faked.workspace,
                                                  .loginService = faked.loginService,
                                                  .numbers = numbers_,
                                                  .supervisor = faked.supervisor},
                                                 {{"HOME", "/home/ann"}}, {});
        fakes_.application.run(*delegate_);
        answerRequests();
    }

    [[nodiscard]] const TrayStatusItem& item() const { return *tray_.item; }
    [[nodiscard]] platform::Menu menu() {
        platform::Menu menu;
        delegate_->populateStatusMenu(menu);
        return menu;
    }
    // What the server says arrives after the opening that asked for it.
    void answerRequests() {
        fakes_.scheduler.runReady();
        fakes_.http.requests.clear();
        fakes_.log.lines.clear();
        fakes_.events.clear();
    }
    // From the next opening on, the library has other numbers; as many digits as before.
    void changeCounts() {
        fakes_.scheduler.advance(zorvane::LibrarySummaryCache::freshness + 1s);
        count_ = count_ == 12345 ? 54321 : 12345;
    }

  private:
    using Answer = platform::testing::ScriptedHttpClient::Answer;

    std::optional<Answer> answer(const platform::HttpRequest& request) {
        const std::string_view url = request.url;
        const auto says = [](std::string body) {
            return Answer{platform::HttpResponse{200, {}, std::move(body)}};
        };
        if (url.ends_with("/api/health")) {
            return says(R"({"status":"ok","nonce":")" + fakes_.nonce() + R"("})");
        }
        if (url.ends_with("/api/modes")) {
            return says(list(R"({{"id":"m{0}","name":"Mode {0}","entityTypes":)"
                             R"([{{"id":"m{0}.track","name":"Track"}}]}})"));
        }
        if (url.ends_with("/api/libraries")) {
            return says(list(R"({{"modeId":"m{0}"}})"));
        }
        if (url.ends_with("/api/account/link/status")) {
            return says(R"({"linked":false})");
        }
        return Answer{
            platform::HttpResponse{200, {{"X-Total-Count", std::to_string(count_)}}, "[]"}};
    }

    static std::string list(const char* record) {
        std::string records;
        for (int mode = 0; mode < modes; ++mode) {
            records += (records.empty() ? "" : ",") + fmt::format(fmt::runtime(record), mode);
        }
        return "[" + records + "]";
    }

    zorvane::FakeShell fakes_;
    Tray tray_{fakes_.log};
    platform::IcuNumberFormatter numbers_{"en_US.UTF-8"};
    std::int64_t count_ = 12345;
    std::shared_ptr<zorvane::AppDelegate> delegate_;
};

// A bus of our own, named by the environment from now on.
class Bus {
  public:
    Bus() {
        g_test_dbus_up(bus_.get());
        const platform::gtk::GObjectPtr<GDBusConnection> shared(
            g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
        g_dbus_connection_set_exit_on_close(shared.get(), FALSE);
    }
    ~Bus() { g_test_dbus_stop(bus_.get()); }
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;
    [[nodiscard]] std::string address() const { return g_test_dbus_get_bus_address(bus_.get()); }

  private:
    platform::gtk::GObjectPtr<GTestDBus> bus_{g_test_dbus_new(G_TEST_DBUS_NONE)};
};

// Runs the task on another thread, and this thread's main context until it has ended.
void beside(const std::function<void()>& task) {
    std::atomic<bool> ended = false;
    std::exception_ptr failure;
    std::thread other([&] {
        try {
            task();
        } catch (...) {
            failure = std::current_exception();
        }
        ended = true;
        g_main_context_wakeup(nullptr);
    });
    while (!ended) {
        g_main_context_iteration(nullptr, TRUE);
    }
    other.join();
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

// On the main thread, which is in beside(); returns when it is done.
void onMainThread(const std::function<void()>& task) {
    struct Call {
        const std::function<void()>& task;
        std::promise<void> done = {};
    } call{task};
    g_idle_add_full(
        G_PRIORITY_DEFAULT,
        [](gpointer data) -> gboolean {
            auto* const pending = static_cast<Call*>(data);
            pending->task();
            pending->done.set_value();
            return G_SOURCE_REMOVE;
        },
        &call, nullptr);
    call.done.get_future().wait();
}

// How long each took, in ms, in ascending order.
std::vector<double> openMenu(Shell& shell, test_support::BackgroundTray& panel, int times,
                             const std::function<void()>& afterEach) {
    const std::string item = panel.registered().front();
    std::vector<double> took;
    beside([&] {
        for (int opening = 0; opening < times; ++opening) {
            const auto start = Clock::now();
            const std::size_t entries = panel.openMenuUnread(item);
            took.push_back(Milliseconds(Clock::now() - start).count());
            if (entries <= modes) {
                throw std::runtime_error(fmt::format("the menu has {} entries only", entries));
            }
            onMainThread([&] {
                shell.answerRequests();
                afterEach();
            });
        }
    });
    std::ranges::sort(took);
    return took;
}

void measureBuilding(Shell& shell) {
    constexpr int rounds = 21;
    constexpr int buildsOfRound = 100;
    std::vector<double> microseconds;
    for (int round = 0; round < rounds; ++round) {
        std::chrono::duration<double, std::micro> spent{};
        for (int build = 0; build < buildsOfRound; ++build) {
            const auto start = Clock::now();
            const platform::Menu menu = shell.menu();
            spent += Clock::now() - start;
            if (menu.size() <= modes) {
                throw std::runtime_error("the menu lacks its modes");
            }
            shell.answerRequests();
        }
        microseconds.push_back(spent.count() / buildsOfRound);
    }
    std::ranges::sort(microseconds);
    fmt::print(
        "status menu of {} modes, {} entries: {:.1f} us a build (median of {} rounds of {})\n",
        modes, shell.menu().size(), microseconds[rounds / 2], rounds, buildsOfRound);
    shell.answerRequests();
}

void measureOpening(Shell& shell, test_support::BackgroundTray& panel) {
    constexpr int openings = 1000;
    (void)openMenu(shell, panel, 100, [] {});
    for (const bool changing : {false, true}) {
        const auto took = openMenu(shell, panel, openings, [&] {
            if (changing) {
                shell.changeCounts();
            }
        });
        fmt::print("AboutToShow to a complete GetLayout, {}: p50 {:.2f} ms, p99 {:.2f} ms, "
                   "slowest {:.2f} ms of {} (aim: p99 under 10 ms)\n",
                   changing ? "every line new " : "nothing changed", took[openings / 2],
                   took[openings * 99 / 100], took.back(), openings);
    }
}

std::ptrdiff_t liveBytes() {
    const auto use = ::mallinfo2();
    return static_cast<std::ptrdiff_t>(use.uordblks + use.hblkhd);
}

[[nodiscard]] bool keepsNothing(Shell& shell, test_support::BackgroundTray& panel) {
    constexpr int openings = 10'000;
    constexpr int warmUp = 100;
    const auto change = [&] { shell.changeCounts(); };
    (void)openMenu(shell, panel, warmUp, change);
    const std::ptrdiff_t before = liveBytes();
    (void)openMenu(shell, panel, openings - warmUp, change);
    const std::ptrdiff_t growth = liveBytes() - before;
    fmt::print("memory in use after {} openings, against that after {}: {:+} bytes of {} "
               "(bound: {})\n",
               openings, warmUp, growth, before, growthBound);
    return growth <= growthBound;
}

// The allocators' caches of freed memory count as memory in use; these variables switch them off.
[[noreturn]] void startAgainWithoutCaches() {
    ::setenv("G_SLICE", "always-malloc", 1);
    ::setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0", 1);
    ::execl("/proc/self/exe", "bench_menu", "memory", nullptr);
    throw std::runtime_error("cannot start again");
}

[[nodiscard]] bool measure(bool memory) {
    const Bus bus;
    test_support::BackgroundTray panel(bus.address());
    Shell shell;
    while (shell.item().place() != TrayStatusItem::Place::tray) {
        g_main_context_iteration(nullptr, TRUE);
    }
    beside([&] {
        while (!panel.canOpenMenu(panel.registered().front())) {
        }
    });
    shell.answerRequests();
    if (memory) {
        return keepsNothing(shell, panel);
    }
    measureBuilding(shell);
    measureOpening(shell, panel);
    return true;
}

} // namespace

// Measures the times, then starts itself again with the argument "memory".
int main(int argc, char** /*argv*/) {
    const bool memory = argc > 1;
    try {
        if (!measure(memory)) {
            fmt::print(stderr, "menu: openings of the menu leak\n");
            return EXIT_FAILURE;
        }
        if (!memory) {
            std::fflush(stdout);
            startAgainWithoutCaches();
        }
    } catch (const std::exception& error) {
        fmt::print(stderr, "menu: {}\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
