#include "platform/linux/WindowHost.h"

#include "platform/Utf8.h"
#include "platform/linux/DisplaySocket.h"
#include "platform/linux/WindowStartedFirst.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace platform::desktop {
namespace {

constexpr std::size_t mostDeaths = 3;
constexpr std::chrono::minutes deathsCountFor{1};
constexpr std::chrono::seconds answerPatience{10};
constexpr unsigned silentBusPatienceSeconds = 2;
constexpr std::chrono::seconds displayPatience{30};
constexpr unsigned displayTickMilliseconds = 250;
constexpr std::size_t longestReason = 500;
// An address at which nobody looks for a bus. Without any, one would be looked for elsewhere.
constexpr const char* noBus = "disabled:";

void stop(guint& source) {
    if (source != 0) {
        g_source_remove(std::exchange(source, 0));
    }
}

} // namespace

WindowHost::WindowHost(Setup setup, Log& log)
    : setup_(std::move(setup))
    , log_(log) {
    calls_.on("DisplayMissing", this, &WindowHost::displayMissing);
    calls_.on("EngineStarting", this, &WindowHost::engineStarting);
    calls_.on("EngineStarted", this, &WindowHost::engineStarted);
    calls_.on("SandboxMissing", this, &WindowHost::sandboxMissing);
}

WindowHost::~WindowHost() {
    stop(displayTimer_);
    stop(revival_);
    stop(busTimer_);
}

std::expected<void, LaunchError> WindowHost::startAhead() {
    auto spawned = takeWindowStartedFirst();
    return spawned ? join(std::move(*spawned)) : start();
}

std::expected<void, LaunchError> WindowHost::start() {
    std::vector<std::string> arguments = {setup_.applicationId};
    if (!hasSandbox_) {
        arguments.emplace_back("--no-sandbox");
    }
    Environment environment = setup_.environment;
    if (!hasBus_) {
        environment["DBUS_SESSION_BUS_ADDRESS"] = noBus;
    }
    auto spawned = spawnWindow(setup_.executable, arguments, environment);
    return spawned ? join(std::move(*spawned)) : std::unexpected(spawned.error());
}

std::expected<void, LaunchError> WindowHost::join(SpawnedWindow spawned) {
    auto process = WindowProcess::watch(spawned.pid, [this] { died(); });
    if (!process) {
        return std::unexpected(process.error());
    }
    try {
        connection_ = std::make_unique<connection::PeerConnection>(
            std::move(spawned.socket), calls_, connection::ConnectionLimits{}, [this] { died(); });
    } catch (const std::runtime_error& error) {
        log_.write(fmt::format("cannot talk to {}: {}", setup_.executable.native(), error.what()));
        return std::unexpected(LaunchError{"cannot talk to " + setup_.executable.native(), EPROTO});
    }
    process_ = std::move(*process);
    ++run_;
    engineIsStarting_ = false;
    watching_ = false;
    displayIsMissing_ = false;
    tell("Configure", about_.name, about_.version, about_.copyright, about_.iconFolder);
    for (WindowClient* const client : clients_) {
        client->sayAgain();
    }
    watch();
    return {};
}

void WindowHost::setAbout(About about) {
    about_ = std::move(about);
    tell("Configure", about_.name, about_.version, about_.copyright, about_.iconFolder);
}

void WindowHost::require() {
    if (isRunning() || concluded_) {
        return;
    }
    if (deaths_.size() >= mostDeaths) {
        deaths_.clear(); // the user wants another try
    }
    revive();
}

// Answered in the order of sending, so an answer means that all that was said before is done.
void WindowHost::watch() {
    if (!connection_ || std::exchange(watching_, true)) {
        return;
    }
    connection_->ask<>("Ping", answerPatience,
                       [this, run = run_](std::optional<std::tuple<>> answer) {
                           if (run != run_ || !connection_ || concluded_) {
                               return;
                           }
                           watching_ = false;
                           stop(busTimer_);
                           if (answer) {
                               hasEverAnswered_ = true;
                           } else {
                               stuck();
                           }
                       });
    awaitAnswerWithoutBus();
}

void WindowHost::setBusIsSilent(bool silent) {
    busIsSilent_ = silent;
    hasBus_ = hasBus_ || !silent;
    stop(busTimer_);
    awaitAnswerWithoutBus();
}

void WindowHost::awaitAnswerWithoutBus() {
    if (busIsSilent_ && hasBus_ && watching_) {
        stop(busTimer_);
        busTimer_ = g_timeout_add_seconds(silentBusPatienceSeconds, onBusPatienceOver, this);
    }
}

gboolean WindowHost::onBusPatienceOver(gpointer data) {
    auto* const self = static_cast<WindowHost*>(data);
    self->busTimer_ = 0;
    self->hasBus_ = false;
    self->log_.write(fmt::format("{} waits for the session bus and is started again without it",
                                 self->setup_.executable.filename().native()));
    self->died();
    return G_SOURCE_REMOVE;
}

void WindowHost::stuck() {
    log_.write(fmt::format("{} does not answer and is started again",
                           setup_.executable.filename().native()));
    // An engine waits for ever for a part of its sandbox that was killed while it began; that says
    // nothing about a sandbox that has worked before, unless it happens twice.
    if (engineIsStarting_ && hasSandbox_) {
        hasSandbox_ = std::exchange(sandboxHasWorked_, false);
    }
    died();
}

bool WindowHost::showsAnything() const {
    return std::ranges::any_of(clients_,
                               [](const WindowClient* client) { return client->isOnScreen(); });
}

void WindowHost::died() {
    connection_.reset();
    process_.reset();
    watching_ = false;
    stop(busTimer_);
    if (concluded_) {
        return;
    }
    const auto now = Steady::now();
    std::erase_if(deaths_, [&](auto moment) { return now - moment >= deathsCountFor; });
    const bool displayGone = displayIsMissing_ || displayTrouble(setup_.environment).has_value();
    if (!displayGone) {
        deaths_.push_back(now);
    }
    for (WindowClient* const client : clients_) {
        client->programDied();
    }
    if (displayIsMissing_ && !hasEverAnswered_) {
        onDisplayGone(/*isFirst=*/true);
    } else if (displayGone) {
        awaitDisplay();
    } else {
        revive();
    }
}

// Later: what called may be about to say more.
void WindowHost::revive() {
    if (revival_ == 0) {
        revival_ = g_idle_add_full(G_PRIORITY_DEFAULT, onRevive, this, nullptr);
    }
}

gboolean WindowHost::onRevive(gpointer data) {
    auto* const self = static_cast<WindowHost*>(data);
    self->revival_ = 0;
    const bool needed = std::ranges::any_of(
        self->clients_, [](const WindowClient* client) { return client->isNeeded(); });
    if (self->isRunning() || self->concluded_ || self->displayTimer_ != 0 || !needed) {
        return G_SOURCE_REMOVE;
    }
    if (self->deaths_.size() >= mostDeaths) {
        self->giveUp();
    } else if (const auto started = self->start(); !started) {
        self->log_.write(started.error().description());
        self->giveUp();
    }
    return G_SOURCE_REMOVE;
}

void WindowHost::giveUp() {
    log_.write(fmt::format("{} ended {} times within a minute; the window stays closed until it is "
                           "asked for",
                           setup_.executable.filename().native(), deaths_.size()));
    for (WindowClient* const client : clients_) {
        client->gaveUp();
    }
}

void WindowHost::awaitDisplay() {
    if (displayTimer_ == 0) {
        displayGoneSince_ = Steady::now();
        displayTimer_ = g_timeout_add(displayTickMilliseconds, onDisplayTick, this);
        log_.write("the display has gone; it is waited for");
    }
}

gboolean WindowHost::onDisplayTick(gpointer data) {
    auto* const self = static_cast<WindowHost*>(data);
    if (!displayTrouble(self->setup_.environment)) {
        self->displayTimer_ = 0;
        self->log_.write("the display is back");
        self->revive();
        return G_SOURCE_REMOVE;
    }
    if (Steady::now() - self->displayGoneSince_ >= displayPatience ||
        (self->sessionIsOver && self->sessionIsOver())) {
        self->displayTimer_ = 0;
        self->log_.write("the display does not come back");
        self->onDisplayGone(/*isFirst=*/false);
        return G_SOURCE_REMOVE;
    }
    return G_SOURCE_CONTINUE;
}

void WindowHost::displayMissing() {
    displayIsMissing_ = true;
}

void WindowHost::engineStarting() {
    engineIsStarting_ = true;
    watch();
}

void WindowHost::engineStarted() {
    engineIsStarting_ = false;
    sandboxHasWorked_ = hasSandbox_ && !toldOfSandbox_;
}

void WindowHost::sandboxMissing(const std::string& reason) {
    if (!std::exchange(toldOfSandbox_, true)) {
        log_.write(fmt::format("pages run without a sandbox: {}",
                               prefixOfWholeCharacters(reason, longestReason)));
    }
}

void WindowHost::conclude() {
    concluded_ = true;
    tell("Finish");
}

void WindowHost::finish(std::chrono::milliseconds patience) {
    if (process_) {
        (void)process_->waitForExit(patience, [] {
            while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
            }
        });
    }
    connection_.reset();
    process_.reset();
}

} // namespace platform::desktop
