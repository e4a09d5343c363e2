// Asks about the navigations of a web view and tells of pages that were loaded. A load that failed,
// or whose error page is shown, is not told. What a server sends as an attachment, or what the view
// has no way to show, becomes a download. A server's redirect of a followed link counts as a
// navigation of its own, not as the link. Owned by the window, which outlives it; main thread only.
#pragma once

#include "platform/linux/GObjectPtr.h"
#include "platform/linux/window/WindowEvents.h"

#include <webkit/webkit.h>

namespace platform::gtk {

class Navigation {
  public:
    // The view and the events outlive this object.
    Navigation(const WindowEvents& events, WebKitWebView* view);
    ~Navigation();
    Navigation(const Navigation&) = delete;
    Navigation& operator=(const Navigation&) = delete;

    WindowInterests interests;

  private:
    static gboolean onDecidePolicy(WebKitWebView* view, WebKitPolicyDecision* decision,
                                   WebKitPolicyDecisionType type, gpointer self);
    [[nodiscard]] bool decideResponse(WebKitPolicyDecision* decision) const;
    void ask(WebKitPolicyDecision* decision, const NavigationAction& action) const;
    static WebKitWebView* onCreate(WebKitWebView* view, WebKitNavigationAction* action,
                                   gpointer self);
    static gboolean onLoadFailed(WebKitWebView* view, WebKitLoadEvent event, const char* url,
                                 GError* error, gpointer self);
    static void onTitle(GObject* view, GAsyncResult* result, gpointer self);
    static void onLoadChanged(WebKitWebView* view, WebKitLoadEvent event, gpointer self);
    static void onUriChanged(WebKitWebView* view, GParamSpec* property, gpointer self);

    void askForTitle();

    const WindowEvents& events_;
    WebKitWebView* view_;
    bool failed_ = false;
    GObjectPtr<GCancellable> asking_{g_cancellable_new()};
};

} // namespace platform::gtk
