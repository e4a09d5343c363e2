// A GTK window that shows one WebKitGTK view (API 6.0). The user's Control+W and close button
// hide it; Control+Shift+I opens the inspector where it is allowed. Where the window goes and
// whether it can be minimised is the window manager's business, so center() and `miniaturizable`
// have no effect. Its size is saved a moment after it changed, when it is hidden, and when the
// object goes. Main thread only.
//
// A view that has not received the first byte of a page when the time is over stops loading and
// shows WebKit's own page for a failed load. Pages never change the window's title.
#pragma once

#include "platform/UserDefaults.h"
#include "platform/WebWindow.h"
#include "platform/linux/GtkApplication.h"
#include "platform/linux/GtkNavigation.h"
#include "platform/linux/GtkScriptBridge.h"
#include "platform/linux/WebStorage.h"
#include "platform/linux/WindowFrame.h"

#include <gtkmm/applicationwindow.h>
#include <webkit/webkit.h>

#include <memory>
#include <optional>
#include <string>

namespace platform::gtk {

class GtkWebWindow final : public WebWindow {
  public:
    GtkWebWindow(GtkApplication& application, WebStorage& storage, UserDefaults& defaults,
                 const WebWindowOptions& options);
    ~GtkWebWindow() override;
    GtkWebWindow(const GtkWebWindow&) = delete;
    GtkWebWindow& operator=(const GtkWebWindow&) = delete;

    void setFrameAutosaveName(std::string_view name) override;
    void center() override;
    void makeKeyAndOrderFront() override;
    void orderOut() override;
    [[nodiscard]] bool isVisible() const override;
    void setTitle(std::string_view title) override;

    void addScriptMessageHandler(std::string_view name, ScriptMessageHandler handler) override;
    void setCookie(const WebCookie& cookie, std::function<void()> completion) override;
    void loadHtml(std::string_view html) override;
    void loadUrl(const std::string& url, std::chrono::seconds timeout) override;

  private:
    // What a load that has a time limit waits for.
    enum class Load { none, requested, started };

    static void onLoadChanged(WebKitWebView* view, WebKitLoadEvent event, gpointer self);
    static void onTerminated(WebKitWebView* view, WebKitWebProcessTerminationReason reason,
                             gpointer self);

    void makeView(WebStorage& storage, const WebWindowOptions& options);
    void allowInspector();
    bool closeRequested();
    void sizeChanged();
    void saveSize();
    bool loadTimedOut();
    void loadSettled();

    GtkApplication& application_;
    UserDefaults& defaults_;
    bool closable_;
    Gtk::ApplicationWindow window_;
    GtkScriptBridge bridge_;
    WebKitWebView* view_ = nullptr; // owned by the window
    std::optional<GtkNavigation> navigation_;
    std::optional<WindowFrame> frame_;
    bool sizeUnsaved_ = false;
    sigc::connection saveTimer_;
    sigc::connection loadTimer_;
    Load load_ = Load::none;
    std::string loadingUrl_;
};

class GtkWebWindowFactory final : public WebWindowFactory {
  public:
    GtkWebWindowFactory(GtkApplication& application, WebStorage& storage, UserDefaults& defaults);

    [[nodiscard]] std::unique_ptr<WebWindow>
    makeWebWindow(const WebWindowOptions& options) override;

  private:
    GtkApplication& application_;
    WebStorage& storage_;
    UserDefaults& defaults_;
};

} // namespace platform::gtk
