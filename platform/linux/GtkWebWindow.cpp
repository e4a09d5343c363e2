#include "platform/linux/GtkWebWindow.h"

#include "platform/linux/GtkCookies.h"

#include <glibmm/main.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

namespace platform::gtk {
namespace {

// Long enough to wait for the end of a drag, short enough that a crash costs nothing.
constexpr unsigned saveDelayMilliseconds = 500;

// The largest screen's sides, or no bound while there is no screen.
WindowSize largestScreen() {
    WindowSize largest;
    GListModel* const monitors = gdk_display_get_monitors(gdk_display_get_default());
    for (guint index = 0; index < g_list_model_get_n_items(monitors); ++index) {
        const GObjectPtr<GdkMonitor> monitor(
            static_cast<GdkMonitor*>(g_list_model_get_item(monitors, index)));
        GdkRectangle area{};
        gdk_monitor_get_geometry(monitor.get(), &area);
        largest.width = std::max(largest.width, area.width);
        largest.height = std::max(largest.height, area.height);
    }
    if (largest.width <= 0 || largest.height <= 0) {
        return {.width = std::numeric_limits<short>::max(),
                .height = std::numeric_limits<short>::max()};
    }
    return largest;
}

} // namespace

GtkWebWindow::GtkWebWindow(GtkApplication& application, WebStorage& storage, UserDefaults& defaults,
                           const WebWindowOptions& options)
    : application_(application)
    , defaults_(defaults)
    , closable_(options.closable)
    , window_(application.toolkit())
    , bridge_(options.userScripts) {
    window_.set_title(options.title);
    window_.set_default_size(options.contentWidth, options.contentHeight);
    window_.set_size_request(options.minimumWidth, options.minimumHeight);
    window_.set_resizable(options.resizable);
    window_.set_deletable(options.closable);
    window_.set_hide_on_close(false);
    window_.signal_close_request().connect([this] { return closeRequested(); }, false);
    application.toolkit()->set_accels_for_action("window.close", {"<Control>w"});
    makeView(storage, options);
    if (options.inspectable) {
        allowInspector();
    }
    window_.property_default_width().signal_changed().connect([this] { sizeChanged(); });
    window_.property_default_height().signal_changed().connect([this] { sizeChanged(); });
    window_.property_maximized().signal_changed().connect([this] { sizeChanged(); });
}

GtkWebWindow::~GtkWebWindow() {
    saveSize();
    loadTimer_.disconnect();
    g_signal_handlers_disconnect_by_data(view_, this);
}

void GtkWebWindow::makeView(WebStorage& storage, const WebWindowOptions& options) {
    view_ = WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "network-session", storage.session(),
                                         "user-content-manager", bridge_.manager(), nullptr));
    WebKitSettings* const settings = webkit_web_view_get_settings(view_);
    webkit_settings_set_enable_back_forward_navigation_gestures(
        settings, options.backForwardGestures ? TRUE : FALSE);
    if (!options.userAgent.empty()) {
        webkit_settings_set_user_agent(settings, options.userAgent.c_str());
    }
    navigation_.emplace(*this, view_);
    g_signal_connect(view_, "load-changed", G_CALLBACK(onLoadChanged), this);
    g_signal_connect(view_, "web-process-terminated", G_CALLBACK(onTerminated), this);
    window_.set_child(*Glib::wrap(GTK_WIDGET(view_)));
}

void GtkWebWindow::allowInspector() {
    webkit_settings_set_enable_developer_extras(webkit_web_view_get_settings(view_), TRUE);
    window_.add_action("inspect",
                       [this] { webkit_web_inspector_show(webkit_web_view_get_inspector(view_)); });
    application_.toolkit()->set_accels_for_action("win.inspect", {"<Control><Shift>i"});
}

void GtkWebWindow::setFrameAutosaveName(std::string_view name) {
    frame_.emplace(defaults_, name);
    if (const auto size = frame_->restore(largestScreen())) {
        window_.set_default_size(size->width, size->height);
        if (size->maximized) {
            window_.maximize();
        }
    }
}

void GtkWebWindow::center() {}

void GtkWebWindow::makeKeyAndOrderFront() {
    // gtkmm takes a window that is hidden out of its application, and with that its shortcuts.
    gtk_window_set_application(GTK_WINDOW(window_.gobj()), application_.toolkit()->gobj());
    window_.present();
}

void GtkWebWindow::orderOut() {
    saveSize();
    window_.set_visible(false);
}

bool GtkWebWindow::isVisible() const {
    return window_.get_visible();
}

bool GtkWebWindow::closeRequested() {
    if (closable_) {
        orderOut();
        if (onWillClose) {
            onWillClose();
        }
        application_.windowWasClosed();
    }
    return true; // the window itself stays
}

void GtkWebWindow::sizeChanged() {
    if (frame_ && !sizeUnsaved_) {
        sizeUnsaved_ = true;
        saveTimer_ = Glib::signal_timeout().connect(
            [this] {
                saveSize();
                return false;
            },
            saveDelayMilliseconds);
    }
}

void GtkWebWindow::saveSize() {
    if (!sizeUnsaved_) {
        return;
    }
    sizeUnsaved_ = false;
    saveTimer_.disconnect();
    WindowSize size{.maximized = window_.is_maximized()};
    window_.get_default_size(size.width, size.height);
    frame_->save(size);
}

void GtkWebWindow::setTitle(std::string_view title) {
    window_.set_title(std::string(title));
}

void GtkWebWindow::addScriptMessageHandler(std::string_view name, ScriptMessageHandler handler) {
    bridge_.addHandler(name, std::move(handler));
}

void GtkWebWindow::setCookie(const WebCookie& cookie, std::function<void()> completion) {
    addCookie(webkit_web_view_get_network_session(view_), cookie, std::move(completion));
}

void GtkWebWindow::loadHtml(std::string_view html) {
    loadSettled();
    webkit_web_view_load_html(view_, std::string(html).c_str(), nullptr);
}

void GtkWebWindow::loadUrl(const std::string& url, std::chrono::seconds timeout) {
    loadSettled();
    load_ = Load::requested;
    loadingUrl_ = url;
    loadTimer_ = Glib::signal_timeout().connect_seconds(
        [this] { return loadTimedOut(); },
        static_cast<unsigned>(std::clamp<std::chrono::seconds::rep>(
            timeout.count(), 1, std::numeric_limits<int>::max())));
    webkit_web_view_load_uri(view_, url.c_str());
}

// A page asked for earlier may still report here; only what follows the start of the load in
// question settles it.
void GtkWebWindow::onLoadChanged(WebKitWebView* view, WebKitLoadEvent event, gpointer self) {
    auto* const window = static_cast<GtkWebWindow*>(self);
    if (event == WEBKIT_LOAD_STARTED && window->load_ == Load::requested) {
        const char* const uri = webkit_web_view_get_uri(view);
        if (uri != nullptr && std::string_view(uri) != "about:blank") {
            window->load_ = Load::started;
        }
    } else if ((event == WEBKIT_LOAD_COMMITTED || event == WEBKIT_LOAD_FINISHED) &&
               window->load_ == Load::started) {
        window->loadSettled();
    }
}

void GtkWebWindow::loadSettled() {
    load_ = Load::none;
    loadTimer_.disconnect();
}

bool GtkWebWindow::loadTimedOut() {
    load_ = Load::none;
    webkit_web_view_stop_loading(view_);
    const GErrorPtr error(
        g_error_new_literal(G_IO_ERROR, G_IO_ERROR_TIMED_OUT, g_strerror(ETIMEDOUT)));
    // WebKit's own handler of this signal shows the page.
    gboolean handled = FALSE;
    g_signal_emit_by_name(view_, "load-failed", WEBKIT_LOAD_STARTED, loadingUrl_.c_str(),
                          error.get(), &handled);
    return false;
}

void GtkWebWindow::onTerminated(WebKitWebView* /*view*/,
                                WebKitWebProcessTerminationReason /*reason*/, gpointer self) {
    auto* const window = static_cast<GtkWebWindow*>(self);
    window->loadSettled();
    if (window->onWebProcessTerminated) {
        window->onWebProcessTerminated();
    }
}

GtkWebWindowFactory::GtkWebWindowFactory(GtkApplication& application, WebStorage& storage,
                                         UserDefaults& defaults)
    : application_(application)
    , storage_(storage)
    , defaults_(defaults) {}

std::unique_ptr<WebWindow> GtkWebWindowFactory::makeWebWindow(const WebWindowOptions& options) {
    return std::make_unique<GtkWebWindow>(application_, storage_, defaults_, options);
}

} // namespace platform::gtk
