#include "platform/linux/LinuxApplication.h"

#include "platform/linux/DisplaySocket.h"
#include "platform/linux/LinuxWorkspace.h"

#include <fmt/format.h>
#include <glib-unix.h>

#include <array>
#include <chrono>
#include <csignal>
#include <memory>
#include <utility>

namespace platform::desktop {
namespace {

constexpr std::array terminationSignals = {SIGTERM, SIGINT, SIGHUP};
// An instance on its way out may have to wait for what it runs.
constexpr std::chrono::seconds holderPatience{20};
constexpr std::chrono::milliseconds busPatience{1000};
// For the window program to write what pages stored, once the server is gone.
constexpr std::chrono::milliseconds windowPatience{1000};

constexpr std::uint32_t fourCharacters(const char (&code)[5]) {
    std::uint32_t value = 0;
    for (int index = 0; index < 4; ++index) {
        value = (value << 8) | static_cast<unsigned char>(code[index]);
    }
    return value;
}

constexpr SystemEvent sessionQuit{.eventClass = fourCharacters("aevt"),
                                  .eventId = fourCharacters("quit"),
                                  .why = fourCharacters("logo")};

// The event counts as current only while it is being handled.
class EventScope {
  public:
    explicit EventScope(std::optional<SystemEvent>& current)
        : current_(current) {
        current_ = sessionQuit;
    }
    ~EventScope() { current_.reset(); }
    EventScope(const EventScope&) = delete;
    EventScope& operator=(const EventScope&) = delete;

  private:
    std::optional<SystemEvent>& current_;
};

// Whether a signal to end came while the main loop had no turn.
class SignalsMeanwhile {
  public:
    SignalsMeanwhile() {
        for (const int number : terminationSignals) {
            GSource* const source = g_unix_signal_source_new(number);
            g_source_set_callback(source, onSignal, &came_, nullptr);
            g_source_attach(source, context_.get());
            g_source_unref(source);
        }
    }
    SignalsMeanwhile(const SignalsMeanwhile&) = delete;
    SignalsMeanwhile& operator=(const SignalsMeanwhile&) = delete;
    ~SignalsMeanwhile() = default;

    [[nodiscard]] bool came() {
        while (g_main_context_iteration(context_.get(), FALSE) != FALSE) {
        }
        return came_;
    }

  private:
    static gboolean onSignal(gpointer came) {
        *static_cast<bool*>(came) = true;
        return G_SOURCE_CONTINUE;
    }

    bool came_ = false;
    std::unique_ptr<GMainContext, decltype(&g_main_context_unref)> context_{g_main_context_new(),
                                                                            &g_main_context_unref};
};

// The token by which the desktop lets this launch take the focus, or empty.
std::string launchToken(const Environment& environment) {
    for (const char* name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
        if (auto token = valueOf(environment, name); !token.empty()) {
            return token;
        }
    }
    return {};
}

std::string describeHolder(const std::optional<InstancePlace>& holder) {
    return holder ? describe(*holder) : "it is not known where";
}

} // namespace

LinuxApplication::LinuxApplication(std::string applicationId,
                                   const std::filesystem::path& privateFolder,
                                   const Environment& environment, appcast::Predecessor predecessor,
                                   WindowHost& windows, ActivationTokens& tokens, Log& log)
    : applicationId_(std::move(applicationId))
    , environment_(environment)
    , predecessor_(std::move(predecessor))
    , windows_(windows)
    , tokens_(tokens)
    , log_(log)
    , instance_(privateFolder, here(environment))
    , bus_(applicationId_, log) {
    windows_.onDisplayGone = [this](bool isFirst) { displayGone(isFirst); };
    windows_.sessionIsOver = [this] { return bus_.isGone(); };
}

LinuxApplication::~LinuxApplication() {
    for (const guint source : sources_) {
        g_source_remove(source);
    }
    if (stage_ == Stage::ended) {
        // GLib has just put the default dispositions back. The process is ending as it was asked
        // to; being asked again does not change how.
        for (const int number : terminationSignals) {
            std::signal(number, SIG_IGN);
        }
    }
}

int LinuxApplication::run(ApplicationDelegate& delegate) {
    int exitStatus = 0;
    if (!becomeTheInstance(exitStatus)) {
        return exitStatus;
    }
    delegate_ = &delegate;
    stage_ = Stage::launching;
    watchSignals();
    joinSession();
    g_idle_add_full(G_PRIORITY_HIGH, onLaunch, this, nullptr);
    while (stage_ != Stage::ended) {
        g_main_context_iteration(nullptr, TRUE);
    }
    windows_.finish(windowPatience);
    return exitStatus_;
}

gboolean LinuxApplication::onLaunch(gpointer data) {
    auto* const self = static_cast<LinuxApplication*>(data);
    self->stage_ = Stage::running;
    self->delegate_->applicationDidFinishLaunching();
    return G_SOURCE_REMOVE;
}

// False when this process has nothing more to do than to exit with `exitStatus`.
bool LinuxApplication::becomeTheInstance(int& exitStatus) {
    const bool isNewInstance = g_getenv(newInstanceVariable) != nullptr;
    g_unsetenv(newInstanceVariable);
    if (predecessor_.isThere()) {
        return true; // until it has gone, beside it
    }
    if (isNewInstance) {
        instance_.waitForHolder(holderPatience);
    }
    return claimTheInstance(exitStatus);
}

bool LinuxApplication::claimTheInstance(int& exitStatus) {
    switch (instance_.claim(launchToken(environment_), holderPatience)) {
    case InstanceLock::Outcome::handedOver:
        return false;
    case InstanceLock::Outcome::elsewhere:
        log_.write(fmt::format("{} is running already ({}) and cannot show itself here ({})",
                               applicationId_, describeHolder(instance_.holder()),
                               describeDisplay(here(environment_))));
        exitStatus = 1;
        return false;
    case InstanceLock::Outcome::unreachable:
        log_.write(fmt::format("{} is running already ({}), but does not answer", applicationId_,
                               describeHolder(instance_.holder())));
        exitStatus = 1;
        return false;
    case InstanceLock::Outcome::unavailable:
        break; // the session bus still keeps a second instance away
    case InstanceLock::Outcome::held:
        instance_.listen({.reopen =
                              [this](std::string token) {
                                  tokens_.give(std::move(token));
                                  reopen();
                              },
                          .stays = [this] { return staysDisplaced(); }});
    }
    if (const auto& failure = instance_.failure()) {
        log_.write(*failure);
    }
    return registerOnBus();
}

bool LinuxApplication::takeOver() {
    if (!predecessor_.isThere()) {
        return true;
    }
    SignalsMeanwhile signals;
    if (!predecessor_.agreesToGo(appcast::handOverPatience)) {
        log_.write("the instance before this one has gone without handing over");
        giveUp(0);
        return false;
    }
    instance_.waitForHolder(holderPatience);
    if (signals.came()) { // as to the one before, with which it all ends
        giveUp(0);
        return false;
    }
    int exitStatus = 0;
    if (!claimTheInstance(exitStatus)) {
        giveUp(exitStatus);
        return false;
    }
    joinSession();
    return true;
}

// In the middle of a launch; nothing that the delegate has would have to be stopped.
void LinuxApplication::giveUp(int exitStatus) {
    stage_ = Stage::ended;
    exitStatus_ = exitStatus;
    windows_.conclude();
}

// False when another instance owns the name; it was told to show itself.
bool LinuxApplication::registerOnBus() {
    bus_.onActivate = [this](std::string token) {
        tokens_.give(std::move(token));
        reopen();
    };
    const SessionBus::Claim claim = bus_.claim(launchToken(environment_), busPatience);
    if (claim != SessionBus::Claim::handedOver) {
        bus_.onEnded = [this] { session_.reset(); };
        bus_.onReturned = [this] {
            windows_.setBusIsSilent(false);
            joinSession();
        };
        windows_.setBusIsSilent(claim == SessionBus::Claim::silent);
        return true;
    }
    instance_.stopListening();
    return false;
}

void LinuxApplication::watchSignals() {
    for (const int number : terminationSignals) {
        sources_.push_back(g_unix_signal_add(number, onSignal, this));
    }
}

void LinuxApplication::joinSession() {
    if (!logind_) {
        logind_.emplace(valueOf(environment_, "XDG_SESSION_ID"), [this] { sessionEnds(); });
    }
    if (bus_.connection() != nullptr) {
        session_.emplace(bus_.connection(), applicationId_,
                         valueOf(environment_, "DESKTOP_AUTOSTART_ID"),
                         SessionManagerClient::Answers{.mayEnd = [this] { return sessionMayEnd(); },
                                                       .ends = [this] { sessionEnds(); }});
    }
}

gboolean LinuxApplication::onSignal(gpointer self) {
    auto* const application = static_cast<LinuxApplication*>(self);
    const EventScope scope(application->currentEvent_);
    application->terminate();
    return G_SOURCE_CONTINUE;
}

bool LinuxApplication::sessionMayEnd() {
    if (stage_ != Stage::running) {
        return true;
    }
    const EventScope scope(currentEvent_);
    const bool refuses = delegate_->applicationShouldTerminate() == TerminateReply::cancel;
    // The session ends soon; a blocked caller would hold that up.
    modalsDismissed_ = !refuses;
    return !refuses;
}

// Not a question any more.
void LinuxApplication::sessionEnds() {
    if (stage_ == Stage::running && !ending_) {
        ending_ = true;
        eventAtEnd_ = sessionQuit;
        endAfterModals();
    }
}

void LinuxApplication::displayGone(bool isFirst) {
    if (isFirst) {
        log_.write(unusableDisplay(environment_));
        exitStatus_ = 1;
    }
    sessionEnds();
}

// A user whose display has gone starts the application on another one: it is no good to wait.
bool LinuxApplication::staysDisplaced() {
    if (!windows_.isAwaitingDisplay()) {
        return true;
    }
    g_idle_add(onDisplaced, this);
    return false;
}

gboolean LinuxApplication::onDisplaced(gpointer self) {
    static_cast<LinuxApplication*>(self)->sessionEnds();
    return G_SOURCE_REMOVE;
}

void LinuxApplication::reopen() {
    if (stage_ != Stage::running) {
        return;
    }
    if (delegate_->applicationShouldHandleReopen(windows_.showsAnything())) {
        activateIgnoringOtherApps();
    }
}

void LinuxApplication::terminate() {
    if (stage_ != Stage::running || asking_ || ending_) {
        return;
    }
    asking_ = true;
    const TerminateReply reply = delegate_->applicationShouldTerminate();
    asking_ = false;
    if (reply == TerminateReply::now) {
        ending_ = true;
        eventAtEnd_ = currentEvent_;
        endAfterModals();
    }
}

void LinuxApplication::endAfterModals() {
    if (modals_ == 0 && stage_ == Stage::running) {
        currentEvent_ = eventAtEnd_;
        end();
        currentEvent_.reset();
    }
}

void LinuxApplication::modalBegins() {
    if (modals_++ == 0) {
        modalsDismissed_ = false;
    }
}

void LinuxApplication::modalEnds() {
    if (--modals_ == 0 && ending_) {
        g_idle_add(onModalsOver, this);
    }
}

gboolean LinuxApplication::onModalsOver(gpointer self) {
    static_cast<LinuxApplication*>(self)->endAfterModals();
    return G_SOURCE_REMOVE;
}

// The delegate may block; nobody should look at a window that does not answer, so the windows go
// first. Nothing here waits for them, nor for the bus.
void LinuxApplication::end() {
    stage_ = Stage::ended;
    instance_.stopListening();
    bus_.release();
    windows_.conclude();
    delegate_->applicationWillTerminate();
}

void LinuxApplication::activateIgnoringOtherApps() {
    windows_.activate(tokens_.take());
}

// There is no Dock here; an accessory application is one that shows no window.
void LinuxApplication::setActivationPolicy(ActivationPolicy /*policy*/) {}

std::optional<SystemEvent> LinuxApplication::currentEvent() const {
    return currentEvent_;
}

void LinuxApplication::windowWasClosed() {
    if (stage_ == Stage::running && !windows_.showsAnything() &&
        delegate_->applicationShouldTerminateAfterLastWindowClosed()) {
        terminate();
    }
}

} // namespace platform::desktop
