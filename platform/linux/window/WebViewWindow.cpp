#include "platform/linux/window/WebViewWindow.h"

#include "platform/linux/window/Cookies.h"

#include <giomm/simpleactiongroup.h>
#include <glibmm/main.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

namespace platform::gtk {
namespace {

struct Size {
    int width = 0;
    int height = 0;
};

// The largest screen's sides, or no bound while there is no screen.
Size largestScreen() {
    Size largest;
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

// A proxy that nobody can be: no socket listens on port 0. It stands for loopback hosts, too.
constexpr const char* nowhere = "http://127.0.0.1:0";

} // namespace

WebViewWindow::WebViewWindow(Toplevels& toplevels, WebStorage& storage,
                             const WebWindowOptions& options, WindowEvents events)
    : toplevels_(toplevels)
    , events_(std::move(events))
    , closable_(options.closable)
    , bridge_(options.userScripts, [this](const std::string& name, const std::string& body) {
        events_.scriptMessage(name, body);
    }) {
    toplevels_.add(window_);
    toplevels_.setKey("window.close", "<Control>w");
    window_.set_title(options.title);
    window_.set_default_size(options.contentWidth, options.contentHeight);
    window_.set_size_request(options.minimumWidth, options.minimumHeight);
    window_.set_resizable(options.resizable);
    window_.set_deletable(options.closable);
    window_.set_hide_on_close(false);
    window_.signal_close_request().connect(
        [this] {
            closeRequested();
            return true; // the window itself stays
        },
        false);
    makeView(storage, options);
    if (options.inspectable) {
        allowInspector();
    }
    window_.property_default_width().signal_changed().connect([this] { tellSize(); });
    window_.property_default_height().signal_changed().connect([this] { tellSize(); });
    window_.property_maximized().signal_changed().connect([this] { tellSize(); });
}

WebViewWindow::~WebViewWindow() {
    loadTimer_.disconnect();
    g_signal_handlers_disconnect_by_data(view_, this);
    g_cancellable_cancel(asking_.get());
    dialogs_.reset();
    navigation_.reset();
    toplevels_.remove(window_);
}

void WebViewWindow::makeView(WebStorage& storage, const WebWindowOptions& options) {
    events_.engineStarting();
    view_ = WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "web-context", storage.context(),
                                         "network-session", storage.session(),
                                         "user-content-manager", bridge_.manager(), nullptr));
    WebKitSettings* const settings = webkit_web_view_get_settings(view_);
    webkit_settings_set_enable_back_forward_navigation_gestures(
        settings, options.backForwardGestures ? TRUE : FALSE);
    if (!options.userAgent.empty()) {
        webkit_settings_set_user_agent(settings, options.userAgent.c_str());
    }
    navigation_.emplace(events_, view_);
    dialogs_.emplace(window_, view_);
    g_signal_connect(view_, "load-changed", G_CALLBACK(onLoadChanged), this);
    g_signal_connect(view_, "web-process-terminated", G_CALLBACK(onTerminated), this);
    window_.set_child(*Glib::wrap(GTK_WIDGET(view_)));
}

void WebViewWindow::allowInspector() {
    webkit_settings_set_enable_developer_extras(webkit_web_view_get_settings(view_), TRUE);
    const auto actions = Gio::SimpleActionGroup::create();
    actions->add_action(
        "inspect", [this] { webkit_web_inspector_show(webkit_web_view_get_inspector(view_)); });
    window_.insert_action_group("win", actions);
    toplevels_.setKey("win.inspect", "<Control><Shift>i");
}

void WebViewWindow::setSize(int width, int height, bool maximized) {
    const Size largest = largestScreen();
    window_.set_default_size(std::min(width, largest.width), std::min(height, largest.height));
    if (maximized) {
        window_.maximize();
    }
}

void WebViewWindow::show() {
    window_.present();
}

void WebViewWindow::hide() {
    window_.set_visible(false);
}

void WebViewWindow::closeRequested() {
    if (closable_) {
        hide();
        events_.closed();
    }
}

void WebViewWindow::tellSize() {
    Size size;
    window_.get_default_size(size.width, size.height);
    events_.resized(size.width, size.height, window_.is_maximized());
}

void WebViewWindow::setTitle(const std::string& title) {
    window_.set_title(title);
}

void WebViewWindow::setNetworkAllowed(bool allowed) {
    WebKitNetworkSession* const session = webkit_web_view_get_network_session(view_);
    if (allowed) {
        webkit_network_session_set_proxy_settings(session, WEBKIT_NETWORK_PROXY_MODE_DEFAULT,
                                                  nullptr);
        return;
    }
    WebKitNetworkProxySettings* const settings =
        webkit_network_proxy_settings_new(nowhere, nullptr);
    webkit_network_session_set_proxy_settings(session, WEBKIT_NETWORK_PROXY_MODE_CUSTOM, settings);
    webkit_network_proxy_settings_free(settings);
}

void WebViewWindow::addScriptHandler(const std::string& name) {
    bridge_.addHandler(name);
}

void WebViewWindow::setCookie(const WebCookie& cookie, std::function<void()> completion) {
    addCookie(webkit_web_view_get_network_session(view_), cookie, std::move(completion));
}

void WebViewWindow::setInterests(const WindowInterests& interests) {
    navigation_->interests = interests;
}

void WebViewWindow::aboutToLoad() {
    loadSettled();
    events_.engineStarting();
}

void WebViewWindow::loadHtml(const std::string& html) {
    aboutToLoad();
    webkit_web_view_load_html(view_, html.c_str(), nullptr);
}

void WebViewWindow::loadUrl(const std::string& url, std::chrono::seconds timeout) {
    aboutToLoad();
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
void WebViewWindow::onLoadChanged(WebKitWebView* view, WebKitLoadEvent event, gpointer self) {
    auto* const window = static_cast<WebViewWindow*>(self);
    if (event == WEBKIT_LOAD_COMMITTED) {
        window->events_.engineStarted();
    }
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

void WebViewWindow::askForLife() {
    alive_ = false;
    webkit_web_view_evaluate_javascript(view_, "0", -1, "app", nullptr, asking_.get(), onAlive,
                                        this);
}

void WebViewWindow::onAlive(GObject* view, GAsyncResult* result, gpointer self) {
    GError* raw = nullptr;
    const GObjectPtr<JSCValue> value(
        webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(view), result, &raw));
    const GErrorPtr error(raw);
    if (g_error_matches(raw, G_IO_ERROR, G_IO_ERROR_CANCELLED) == FALSE) {
        static_cast<WebViewWindow*>(self)->alive_ = true;
    }
}

void WebViewWindow::loadSettled() {
    load_ = Load::none;
    loadTimer_.disconnect();
}

bool WebViewWindow::loadTimedOut() {
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

void WebViewWindow::onTerminated(WebKitWebView* /*view*/,
                                 WebKitWebProcessTerminationReason /*reason*/, gpointer self) {
    auto* const window = static_cast<WebViewWindow*>(self);
    window->loadSettled();
    window->events_.pageDied();
}

} // namespace platform::gtk
