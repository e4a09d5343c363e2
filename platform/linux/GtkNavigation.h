// Asks a window's callbacks about the navigations of its web view and tells them of pages that
// were loaded. A load that failed, or whose error page is shown, is not told. A server's redirect
// of a followed link counts as a navigation of its own, not as the link. Owned by the window, which
// outlives it; main thread only.
#pragma once

#include "platform/WebWindow.h"
#include "platform/linux/GObjectPtr.h"

#include <webkit/webkit.h>

namespace platform::gtk {

class GtkNavigation {
  public:
    // The view outlives this object.
    GtkNavigation(WebWindow& window, WebKitWebView* view);
    ~GtkNavigation();
    GtkNavigation(const GtkNavigation&) = delete;
    GtkNavigation& operator=(const GtkNavigation&) = delete;

  private:
    static gboolean onDecidePolicy(WebKitWebView* view, WebKitPolicyDecision* decision,
                                   WebKitPolicyDecisionType type, gpointer self);
    static WebKitWebView* onCreate(WebKitWebView* view, WebKitNavigationAction* action,
                                   gpointer self);
    static gboolean onLoadFailed(WebKitWebView* view, WebKitLoadEvent event, const char* url,
                                 GError* error, gpointer self);
    static void onTitle(GObject* view, GAsyncResult* result, gpointer self);
    static void onLoadChanged(WebKitWebView* view, WebKitLoadEvent event, gpointer self);

    void askForTitle();

    WebWindow& window_;
    WebKitWebView* view_;
    bool failed_ = false;
    GObjectPtr<GCancellable> asking_{g_cancellable_new()};
};

} // namespace platform::gtk
