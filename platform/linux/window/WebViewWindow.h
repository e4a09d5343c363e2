// A GTK window that shows one WebKitGTK view (API 6.0). The user's Control+W and close button
// hide it; Control+Shift+I opens the inspector where it is allowed. Where the window goes is the
// window manager's business. Pages never change the window's title. Main thread only.
//
// The first page is loaded once whatever else was asked for has been done: a window that is to be
// shown is on the screen before the engine starts.
//
// A view that has not received the first byte of a page when the time is over stops loading and
// shows WebKit's own page for a failed load.
#pragma once

#include "platform/WebWindow.h"
#include "platform/linux/window/Navigation.h"
#include "platform/linux/window/PageDialogs.h"
#include "platform/linux/window/ScriptBridge.h"
#include "platform/linux/window/Toplevels.h"
#include "platform/linux/window/WebStorage.h"
#include "platform/linux/window/WindowEvents.h"

#include <gtkmm/window.h>
#include <webkit/webkit.h>

#include <functional>
#include <optional>
#include <string>

namespace platform::gtk {

class WebViewWindow {
  public:
    WebViewWindow(Toplevels& toplevels, WebStorage& storage, const WebWindowOptions& options,
                  WindowEvents events);
    ~WebViewWindow();
    WebViewWindow(const WebViewWindow&) = delete;
    WebViewWindow& operator=(const WebViewWindow&) = delete;

    struct Size {
        int width = 0;
        int height = 0;
    };

    [[nodiscard]] Gtk::Window& window() { return window_; }

    // Of the content, cut to what the largest screen holds. Changes are told from the first show
    // on.
    void setSize(int width, int height, bool maximized);
    // `token` is the desktop's permission to take the focus, or empty.
    void show(const std::string& token);
    void hide();
    void setTitle(const std::string& title);
    // For all windows of the session, which share what the network knows of them.
    void setNetworkAllowed(bool allowed);
    void addScriptHandler(const std::string& name);
    void setCookie(const WebCookie& cookie, std::function<void()> completion);
    void setInterests(const WindowInterests& interests);
    void loadHtml(const std::string& html);
    void loadUrl(const std::string& url, std::chrono::seconds timeout);

    // Whether its page's process still does anything: asked, and answered a moment later.
    void askForLife();
    [[nodiscard]] bool isAlive() const { return alive_; }

  private:
    // What a load that has a time limit waits for.
    enum class Load { none, requested, started };

    static void onLoadChanged(WebKitWebView* view, WebKitLoadEvent event, gpointer self);
    static void onTerminated(WebKitWebView* view, WebKitWebProcessTerminationReason reason,
                             gpointer self);

    static void onAlive(GObject* view, GAsyncResult* result, gpointer self);

    void makeView(WebStorage& storage, const WebWindowOptions& options);
    void allowInspector();
    [[nodiscard]] Size measureChrome();
    void fitContent();
    void closeRequested();
    void tellSize();
    bool loadTimedOut();
    void loadSettled();
    void begin(std::function<void()> load);

    Toplevels& toplevels_;
    const WindowEvents events_;
    bool closable_;
    Size content_; // as it was asked for
    std::optional<Size> chrome_;
    Gtk::Window window_;
    ScriptBridge bridge_;
    WebKitWebView* view_ = nullptr; // owned by the window
    std::optional<Navigation> navigation_;
    std::optional<PageDialogs> dialogs_;
    bool alive_ = true;
    GObjectPtr<GCancellable> asking_{g_cancellable_new()};
    bool everLoaded_ = false;
    sigc::connection firstLoad_;
    sigc::connection loadTimer_;
    sigc::connection tidying_;
    Load load_ = Load::none;
    std::string loadingUrl_;
};

} // namespace platform::gtk
