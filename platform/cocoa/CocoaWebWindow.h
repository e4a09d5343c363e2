// An NSWindow whose content is a WKWebView with the default, persistent website data store. The
// frame is AppKit's to save and restore. Closing the window orders it out and keeps it. The view
// shows nothing new when a load fails. Scripts may ask the user by alert() and confirm(), and a
// page's file field opens the system's panel, each as a sheet of the window; prompt() answers
// null. A page that asks for another window gets none. The network is cut off by a content rule
// list, which the system compiles in the background at the first request for it. Main thread only.
#pragma once

#include "platform/WebWindow.h"
#include "platform/cocoa/RequireArc.h"

#import <AppKit/AppKit.h>
#import <WebKit/WebKit.h>

@class ZorvaneWebWindowDelegate;

namespace platform::cocoa {

class CocoaWebWindow final : public WebWindow {
  public:
    explicit CocoaWebWindow(const WebWindowOptions& options);
    ~CocoaWebWindow() override;
    CocoaWebWindow(const CocoaWebWindow&) = delete;
    CocoaWebWindow& operator=(const CocoaWebWindow&) = delete;

    void setFrameAutosaveName(std::string_view name) override;
    void center() override;
    void makeKeyAndOrderFront() override;
    void orderOut() override;
    [[nodiscard]] bool isVisible() const override;
    void setTitle(std::string_view title) override;

    void addScriptMessageHandler(std::string_view name, ScriptMessageHandler handler) override;
    void setCookie(const WebCookie& cookie, std::function<void()> completion) override;
    void loadHtml(std::string_view html) override;
    // Text that is no URL loads nothing.
    void loadUrl(const std::string& url, std::chrono::seconds timeout) override;
    void reload() override;
    void setNetworkAllowed(bool allowed) override;

  private:
    void makeView(const WebWindowOptions& options);
    void compileNoNetwork();
    void applyNetwork();

    NSWindow* window_;
    WKWebView* view_;
    ZorvaneWebWindowDelegate* observer_;
    NSURLRequest* request_; // the last one; nil for a page given as text
    std::vector<std::string> handlerNames_;
    bool networkAllowed_ = true;
    bool compiling_ = false;
    WKContentRuleList* noNetwork_; // nil until it is compiled
};

class CocoaWebWindowFactory final : public WebWindowFactory {
  public:
    [[nodiscard]] std::unique_ptr<WebWindow>
    makeWebWindow(const WebWindowOptions& options) override;
};

} // namespace platform::cocoa
