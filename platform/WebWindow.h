// A window whose whole content is a web view, modelled on NSWindow and WKWebView. It is created
// hidden; closing it by the user hides it and keeps it. Website data is persistent and private to
// the user. Main thread only; callbacks too. A back end shows what it is told and decides nothing:
// failed loads are shown by the web view itself, and a web process that died is reported, not
// reloaded.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace platform {

struct WebWindowOptions {
    std::string title;
    int contentWidth = 0;  // points
    int contentHeight = 0; // points
    bool closable = true;
    bool miniaturizable = true;
    bool resizable = true;
    bool inspectable = false; // whether the web inspector may attach
};

class WebWindow {
  public:
    virtual ~WebWindow() = default;

    // The size (and, where the system allows it, the place) is saved in the user's defaults under
    // this name, and restored from there by this call.
    virtual void setFrameAutosaveName(std::string_view name) = 0;
    // Puts the window in the middle of the screen where the system lets an application do that.
    virtual void center() = 0;
    virtual void makeKeyAndOrderFront() = 0;
    virtual void orderOut() = 0;
    [[nodiscard]] virtual bool isVisible() const = 0;

    // A page given as text, without a base URL.
    virtual void loadHtml(std::string_view html) = 0;
    // The protocol's default cache policy; the load is given up after `timeout` without a reply.
    virtual void loadUrl(const std::string& url, std::chrono::seconds timeout) = 0;

    // The user closed the window; it is hidden when this returns.
    std::function<void()> onWillClose;
    // The view's web process died (crashed, was killed, ran out of memory). The view is blank.
    std::function<void()> onWebProcessTerminated;
};

class WebWindowFactory {
  public:
    virtual ~WebWindowFactory() = default;

    [[nodiscard]] virtual std::unique_ptr<WebWindow> makeWebWindow(const WebWindowOptions&) = 0;
};

} // namespace platform
