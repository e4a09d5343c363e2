#include "platform/linux/GtkApplication.h"

#include "platform/linux/GtkWorkspace.h"

#include <fmt/format.h>
#include <glib-unix.h>
#include <glibmm/main.h>
#include <gtkmm/window.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <utility>

namespace platform::gtk {
namespace {

constexpr std::array terminationSignals = {SIGTERM, SIGINT, SIGHUP};
// An instance on its way out may have to wait for what it runs.
constexpr std::chrono::seconds handOverPatience{20};
constexpr std::chrono::milliseconds busPatience{1000};

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

// The token by which the desktop lets this launch take the focus, or empty.
std::string launchToken() {
    GdkDisplay* const display = gdk_display_get_default();
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    const char* const token =
        display == nullptr ? nullptr : gdk_display_get_startup_notification_id(display);
    G_GNUC_END_IGNORE_DEPRECATIONS
    return token == nullptr ? std::string() : std::string(token);
}

// A token is an opaque word of the desktop's; nothing else is passed on to it.
bool looksLikeToken(const std::string& token) {
    return !token.empty() && std::ranges::all_of(token, [](char c) { return c > ' ' && c < 127; });
}

} // namespace

GtkApplication::GtkApplication(std::string applicationId,
                               const std::filesystem::path& privateFolder, Log& log)
    : applicationId_(std::move(applicationId))
    , log_(log)
    , instance_(privateFolder)
    , toolkit_(Gtk::Application::create(applicationId_)) {
    toolkit_->property_register_session() = true;
    toolkit_->signal_activate().connect(sigc::mem_fun(*this, &GtkApplication::onActivate));
    toolkit_->signal_shutdown().connect(sigc::mem_fun(*this, &GtkApplication::onShutdown), false);
    toolkit_->add_action("quit", [this] { terminate(); });
    g_signal_connect(toolkit_->gobj(), "query-end", G_CALLBACK(onQueryEnd), this);
}

GtkApplication::~GtkApplication() {
    for (const guint watch : signalWatches_) {
        g_source_remove(watch);
    }
    if (stage_ == Stage::ended) {
        // GLib has just put the default dispositions back. The process is ending as it was asked
        // to; being asked again does not change how.
        for (const int number : terminationSignals) {
            std::signal(number, SIG_IGN);
        }
    }
    g_signal_handlers_disconnect_by_data(toolkit_->gobj(), this);
}

int GtkApplication::run(ApplicationDelegate& delegate) {
    int exitStatus = 0;
    if (!becomeTheInstance(exitStatus)) {
        return exitStatus;
    }
    delegate_ = &delegate;
    stage_ = Stage::launching;
    watchSignals();
    toolkit_->set_accels_for_action("app.quit", {"<Control>q"});
    toolkit_->hold();
    return toolkit_->run();
}

// False when this process has nothing more to do than to exit with `exitStatus`.
bool GtkApplication::becomeTheInstance(int& exitStatus) {
    const bool isNewInstance = g_getenv(newInstanceVariable) != nullptr;
    g_unsetenv(newInstanceVariable);
    if (isNewInstance) {
        instance_.waitForHolder(handOverPatience);
    }
    switch (instance_.claim(launchToken(), handOverPatience)) {
    case InstanceLock::Outcome::handedOver:
        return false;
    case InstanceLock::Outcome::unreachable:
        log_.write("another instance is running, but does not answer");
        exitStatus = 1;
        return false;
    case InstanceLock::Outcome::unavailable:
        break; // the session bus still keeps a second instance away
    case InstanceLock::Outcome::held:
        instance_.listen([this](std::string token) {
            activationToken_ = looksLikeToken(token) ? std::move(token) : std::string();
            reopen();
        });
    }
    if (instance_.failure()) {
        log_.write(*instance_.failure());
    }
    return registerOnBus();
}

// False when another instance owns the name; it was told to show itself.
bool GtkApplication::registerOnBus() {
    try {
        toolkit_->register_application();
    } catch (const Glib::Error& error) {
        log_.write(fmt::format("the session bus is not used: {}", error.what()));
        toolkit_->set_flags(toolkit_->get_flags() | Gio::Application::Flags::NON_UNIQUE);
        toolkit_->register_application();
    }
    if (!toolkit_->is_remote()) {
        return true;
    }
    instance_.stopListening();
    toolkit_->activate();
    try {
        toolkit_->get_dbus_connection()->flush_sync();
    } catch (const Glib::Error& error) {
        log_.write(fmt::format("cannot reach the running instance: {}", error.what()));
    }
    return false;
}

// A launch from now on is a new instance, not a second one of this.
void GtkApplication::releaseBusName() {
    const auto bus = toolkit_->get_dbus_connection();
    if (!bus) {
        return;
    }
    try {
        bus->call_sync("/org/freedesktop/DBus", "org.freedesktop.DBus", "ReleaseName",
                       Glib::VariantContainerBase::create_tuple(
                           Glib::Variant<Glib::ustring>::create(applicationId_)),
                       "org.freedesktop.DBus", static_cast<int>(busPatience.count()));
    } catch (const Glib::Error& error) {
        log_.write(fmt::format("cannot release the name on the session bus: {}", error.what()));
    }
}

void GtkApplication::watchSignals() {
    for (const int number : terminationSignals) {
        signalWatches_.push_back(g_unix_signal_add(number, onSignal, this));
    }
}

gboolean GtkApplication::onSignal(gpointer self) {
    auto* const application = static_cast<GtkApplication*>(self);
    const EventScope scope(application->currentEvent_);
    application->terminate();
    return G_SOURCE_CONTINUE;
}

// Ending is left to the session manager's second message: a session that another application
// keeps alive keeps this one too.
void GtkApplication::onQueryEnd(::GtkApplication* toolkit, gpointer self) {
    auto* const application = static_cast<GtkApplication*>(self);
    if (application->stage_ != Stage::running) {
        return;
    }
    const EventScope scope(application->currentEvent_);
    const bool refuses =
        application->delegate_->applicationShouldTerminate() == TerminateReply::cancel;
    // GTK ends its main loop on the second message, which a blocked caller would keep waiting.
    application->modalsDismissed_ = !refuses;
    const guint earlier = std::exchange(
        application->refusal_,
        refuses ? gtk_application_inhibit(toolkit, nullptr, GTK_APPLICATION_INHIBIT_LOGOUT, nullptr)
                : 0);
    if (earlier != 0) {
        gtk_application_uninhibit(toolkit, earlier);
    }
}

void GtkApplication::onActivate() {
    if (stage_ == Stage::launching) {
        stage_ = Stage::running;
        delegate_->applicationDidFinishLaunching();
    } else {
        reopen();
    }
}

void GtkApplication::reopen() {
    if (stage_ != Stage::running) {
        return;
    }
    if (delegate_->applicationShouldHandleReopen(!visibleWindows().empty())) {
        activateIgnoringOtherApps();
    }
    activationToken_.clear();
}

void GtkApplication::terminate() {
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

void GtkApplication::endAfterModals() {
    if (modals_ == 0 && stage_ == Stage::running) {
        currentEvent_ = eventAtEnd_;
        end();
        currentEvent_.reset();
        toolkit_->quit();
    }
}

void GtkApplication::modalBegins() {
    if (modals_++ == 0) {
        modalsDismissed_ = false;
    }
}

void GtkApplication::modalEnds() {
    if (--modals_ == 0 && ending_) {
        Glib::signal_idle().connect_once([this] { endAfterModals(); });
    }
}

// The main loop has ended: by terminate(), or by GTK itself because the session is over.
void GtkApplication::onShutdown() {
    if (stage_ == Stage::running) {
        const EventScope scope(currentEvent_);
        end();
    }
}

void GtkApplication::end() {
    stage_ = Stage::ended;
    instance_.stopListening();
    releaseBusName();
    // The delegate may block; nobody should look at a window that does not answer.
    hide();
    gdk_display_flush(gdk_display_get_default());
    delegate_->applicationWillTerminate();
}

void GtkApplication::activateIgnoringOtherApps() {
    const std::vector<Gtk::Window*> windows = visibleWindows();
    if (windows.empty()) {
        return;
    }
    Gtk::Window& lastUsed = *windows.front();
    if (!activationToken_.empty()) {
        lastUsed.set_startup_id(std::exchange(activationToken_, {}));
    }
    lastUsed.present();
}

// There is no Dock here; an accessory application is one that shows no window.
void GtkApplication::setActivationPolicy(ActivationPolicy /*policy*/) {}

std::optional<SystemEvent> GtkApplication::currentEvent() const {
    return currentEvent_;
}

void GtkApplication::windowWasClosed() {
    if (stage_ == Stage::running && visibleWindows().empty() &&
        delegate_->applicationShouldTerminateAfterLastWindowClosed()) {
        terminate();
    }
}

void GtkApplication::hide() {
    for (Gtk::Window* const window : visibleWindows()) {
        window->set_visible(false);
    }
}

std::vector<Gtk::Window*> GtkApplication::visibleWindows() const {
    std::vector<Gtk::Window*> windows = toolkit_->get_windows();
    std::erase_if(windows, [](const Gtk::Window* window) { return !window->get_visible(); });
    return windows;
}

} // namespace platform::gtk
