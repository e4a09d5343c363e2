#include "platform/linux/window/WebViewWindow.h"

#include "platform/linux/window/Cookies.h"
#include "platform/linux/window/Present.h"

#include <giomm/simpleactiongroup.h>
#include <glibmm/main.h>
#include <malloc.h>
#ifdef GDK_WINDOWING_X11
#include <gdk/x11/gdkx.h>
#endif

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

namespace platform::gtk {
namespace {

using Size = WebViewWindow::Size;

// Starting and loading leave megabytes that the C library keeps in case they are needed again; they
// are given back once a page has been there for a while.
constexpr unsigned secondsUntilTidy = 5;

// GDK deprecates whatever is about X11 since 4.18.
G_GNUC_BEGIN_IGNORE_DEPRECATIONS

// Without panels, where the desktop says so: Wayland's places and bounds windows itself.
GdkRectangle usableArea(GdkMonitor* monitor) {
    GdkRectangle area{};
#ifdef GDK_WINDOWING_X11
    if (GDK_IS_X11_MONITOR(monitor)) {
        gdk_x11_monitor_get_workarea(monitor, &area);
        return area;
    }
#endif
    gdk_monitor_get_geometry(monitor, &area);
    return area;
}

G_GNUC_END_IGNORE_DEPRECATIONS

// The largest screen's sides, or no bound while there is no screen.
Size largestScreen() {
    Size largest;
    GListModel* const monitors = gdk_display_get_monitors(gdk_display_get_default());
    for (guint index = 0; index < g_list_model_get_n_items(monitors); ++index) {
        const GObjectPtr<GdkMonitor> monitor(
            static_cast<GdkMonitor*>(g_list_model_get_item(monitors, index)));
        const GdkRectangle area = usableArea(monitor.get());
        largest.width = std::max(largest.width, area.width);
        largest.height = std::max(largest.height, area.height);
    }
    if (largest.width <= 0 || largest.height <= 0) {
        return {.width = std::numeric_limits<short>::max(),
                .height = std::numeric_limits<short>::max()};
    }
    return largest;
}

// WebKitGTK has a hidden text view inside of its view that tells it what keys mean. Tab would end
// there, after the page's last element and before the first.
void keepFocusOutOfHelpers(GtkWidget* view) {
    for (GtkWidget* child = gtk_widget_get_first_child(view); child != nullptr;
         child = gtk_widget_get_next_sibling(child)) {
        if (GTK_IS_TEXT_VIEW(child)) {
            gtk_widget_set_can_focus(child, FALSE);
        }
    }
}

// A page's process answers to Tab after the last element by moving the focus on, and gives the key
// back as well, which would move it twice. It is the same event then.
gboolean onKey(GtkEventControllerKey* keys, guint key, guint /*code*/, GdkModifierType /*state*/,
               gpointer view) {
    if (key != GDK_KEY_Tab && key != GDK_KEY_ISO_Left_Tab) {
        return FALSE;
    }
    constexpr const char* seen = "tab-seen";
    GdkEvent* const event = gtk_event_controller_get_current_event(GTK_EVENT_CONTROLLER(keys));
    const bool again = g_object_get_data(G_OBJECT(keys), seen) == event;
    g_object_set_data_full(G_OBJECT(keys), seen, gdk_event_ref(event),
                           reinterpret_cast<GDestroyNotify>(gdk_event_unref));
    return again && gtk_widget_has_focus(static_cast<GtkWidget*>(view)) == FALSE ? TRUE : FALSE;
}

// A proxy that nobody can be: no socket listens on port 0. It stands for loopback hosts, too.
constexpr const char* nowhere = "http://127.0.0.1:0";

} // namespace

WebViewWindow::WebViewWindow(Toplevels& toplevels, WebStorage& storage,
                             const WebWindowOptions& options, WindowEvents events)
    : toplevels_(toplevels)
    , events_(std::move(events))
    , closable_(options.closable)
    , content_{.width = options.contentWidth, .height = options.contentHeight}
    , bridge_(options.userScripts, [this](const std::string& name, const std::string& body) {
        events_.scriptMessage(name, body);
    }) {
    toplevels_.add(window_);
    toplevels_.setKey("window.close", "<Control>w");
    window_.set_title(options.title);
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
}

WebViewWindow::~WebViewWindow() {
    firstLoad_.disconnect();
    loadTimer_.disconnect();
    tidying_.disconnect();
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
    keepFocusOutOfHelpers(GTK_WIDGET(view_));
    GtkEventController* const keys = gtk_event_controller_key_new();
    gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
    g_signal_connect(keys, "key-pressed", G_CALLBACK(onKey), view_);
    gtk_widget_add_controller(GTK_WIDGET(window_.gobj()), keys);
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
    content_ = {.width = width, .height = height};
    if (chrome_) {
        fitContent();
    }
    if (maximized) {
        window_.maximize();
    }
}

// What the toolkit counts to a window's size beside its content: the header bar, and the frame that
// it draws itself where nobody draws one. It is known once the window is realized.
Size WebViewWindow::measureChrome() {
    constexpr int largerThanAnyHeaderBar = 4096;
    GtkWidget* const window = GTK_WIDGET(window_.gobj());
    GtkWidget* const view = GTK_WIDGET(view_);
    gtk_widget_realize(window);
    gtk_widget_set_size_request(view, largerThanAnyHeaderBar, largerThanAnyHeaderBar);
    Size size;
    gtk_widget_measure(window, GTK_ORIENTATION_HORIZONTAL, -1, &size.width, nullptr, nullptr,
                       nullptr);
    gtk_widget_measure(window, GTK_ORIENTATION_VERTICAL, size.width, &size.height, nullptr, nullptr,
                       nullptr);
    gtk_widget_set_size_request(view, -1, -1);
    return {.width = size.width - largerThanAnyHeaderBar,
            .height = size.height - largerThanAnyHeaderBar};
}

void WebViewWindow::fitContent() {
    const Size largest = largestScreen();
    window_.set_default_size(
        std::min(content_.width, largest.width - chrome_->width) + chrome_->width,
        std::min(content_.height, largest.height - chrome_->height) + chrome_->height);
}

void WebViewWindow::show(const std::string& token) {
    if (!chrome_) {
        chrome_ = measureChrome();
        fitContent();
        window_.property_default_width().signal_changed().connect([this] { tellSize(); });
        window_.property_default_height().signal_changed().connect([this] { tellSize(); });
        window_.property_maximized().signal_changed().connect([this] { tellSize(); });
    }
    present(window_, token);
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
    events_.resized(size.width - chrome_->width, size.height - chrome_->height,
                    window_.is_maximized());
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

// Requests come before this priority, and the drawing of what is on the screen after it. No page
// exists yet that could hold up the first load for ever.
void WebViewWindow::begin(std::function<void()> load) {
    const auto start = [this, load = std::move(load)] {
        everLoaded_ = true;
        loadSettled();
        events_.engineStarting();
        load();
    };
    if (everLoaded_) {
        start();
        return;
    }
    firstLoad_.disconnect();
    firstLoad_ = Glib::signal_idle().connect(
        [start] {
            start();
            return false;
        },
        Glib::PRIORITY_HIGH_IDLE);
}

void WebViewWindow::loadHtml(const std::string& html) {
    begin([this, html] { webkit_web_view_load_html(view_, html.c_str(), nullptr); });
}

void WebViewWindow::loadUrl(const std::string& url, std::chrono::seconds timeout) {
    begin([this, url, timeout] {
        load_ = Load::requested;
        loadingUrl_ = url;
        // Not by connect_seconds(), which may come a quarter of a second early.
        constexpr std::chrono::seconds longest(std::numeric_limits<int>::max() / 1000);
        loadTimer_ = Glib::signal_timeout().connect(
            [this] { return loadTimedOut(); },
            static_cast<unsigned>(
                std::chrono::milliseconds(std::clamp(timeout, std::chrono::seconds(1), longest))
                    .count()));
        webkit_web_view_load_uri(view_, url.c_str());
    });
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
    if (event == WEBKIT_LOAD_FINISHED) {
        window->tidying_.disconnect();
        window->tidying_ = Glib::signal_timeout().connect_seconds(
            [] {
                ::malloc_trim(0);
                return false;
            },
            secondsUntilTidy);
    }
}

void WebViewWindow::askForLife() {
    firstLoad_.disconnect();
    if (!everLoaded_) {
        return;
    }
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
