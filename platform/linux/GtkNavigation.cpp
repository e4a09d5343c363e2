#include "platform/linux/GtkNavigation.h"

#include <string>

namespace platform::gtk {
namespace {

// Where the page's own scripts cannot change what is asked.
constexpr const char* scriptWorld = "app";

std::string urlOf(WebKitNavigationAction* action) {
    WebKitURIRequest* const request = webkit_navigation_action_get_request(action);
    const char* const url = request == nullptr ? nullptr : webkit_uri_request_get_uri(request);
    return url == nullptr ? std::string() : std::string(url);
}

} // namespace

GtkNavigation::GtkNavigation(WebWindow& window, WebKitWebView* view)
    : window_(window)
    , view_(view) {
    // As WKWebView has it on the desktop; each request still ends in onCreate, which makes none.
    webkit_settings_set_javascript_can_open_windows_automatically(
        webkit_web_view_get_settings(view), TRUE);
    g_signal_connect(view, "decide-policy", G_CALLBACK(onDecidePolicy), this);
    g_signal_connect(view, "create", G_CALLBACK(onCreate), this);
    g_signal_connect(view, "load-failed", G_CALLBACK(onLoadFailed), this);
    g_signal_connect(view, "load-changed", G_CALLBACK(onLoadChanged), this);
}

GtkNavigation::~GtkNavigation() {
    g_cancellable_cancel(asking_.get());
    g_signal_handlers_disconnect_by_data(view_, this);
}

gboolean GtkNavigation::onDecidePolicy(WebKitWebView* /*view*/, WebKitPolicyDecision* decision,
                                       WebKitPolicyDecisionType type, gpointer self) {
    const WebWindow& window = static_cast<GtkNavigation*>(self)->window_;
    if (type == WEBKIT_POLICY_DECISION_TYPE_RESPONSE || !window.decideNavigationPolicy) {
        return FALSE;
    }
    WebKitNavigationAction* const action = webkit_navigation_policy_decision_get_navigation_action(
        WEBKIT_NAVIGATION_POLICY_DECISION(decision));
    const bool isLink = webkit_navigation_action_get_navigation_type(action) ==
                            WEBKIT_NAVIGATION_TYPE_LINK_CLICKED &&
                        webkit_navigation_action_is_redirect(action) == FALSE;
    const NavigationPolicy policy =
        window.decideNavigationPolicy({.url = urlOf(action), .isLinkActivated = isLink});
    if (policy == NavigationPolicy::allow) {
        return FALSE; // the view goes on as it would
    }
    webkit_policy_decision_ignore(decision);
    return TRUE;
}

WebKitWebView* GtkNavigation::onCreate(WebKitWebView* /*view*/, WebKitNavigationAction* action,
                                       gpointer self) {
    const WebWindow& window = static_cast<GtkNavigation*>(self)->window_;
    if (window.onNewWindowRequest) {
        window.onNewWindowRequest(urlOf(action));
    }
    return nullptr;
}

gboolean GtkNavigation::onLoadFailed(WebKitWebView* /*view*/, WebKitLoadEvent /*event*/,
                                     const char* /*url*/, GError* /*error*/, gpointer self) {
    static_cast<GtkNavigation*>(self)->failed_ = true;
    return FALSE; // WebKit's own handler shows its page
}

void GtkNavigation::onLoadChanged(WebKitWebView* /*view*/, WebKitLoadEvent event, gpointer self) {
    auto* const navigation = static_cast<GtkNavigation*>(self);
    if (event == WEBKIT_LOAD_STARTED) {
        navigation->failed_ = false;
        g_cancellable_cancel(navigation->asking_.get());
    } else if (event == WEBKIT_LOAD_FINISHED && !navigation->failed_ &&
               navigation->window_.onDidFinishNavigation) {
        // Asking brings a JavaScript engine into this process: not for a window without an
        // answerer.
        navigation->askForTitle();
    }
}

// The view learns a page's title from a task of the page that may run after the load is finished,
// and never if the title is empty.
void GtkNavigation::askForTitle() {
    asking_.reset(g_cancellable_new());
    webkit_web_view_evaluate_javascript(view_, "document.title", -1, scriptWorld, nullptr,
                                        asking_.get(), onTitle, this);
}

void GtkNavigation::onTitle(GObject* view, GAsyncResult* result, gpointer self) {
    GError* raw = nullptr;
    const GObjectPtr<JSCValue> value(
        webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(view), result, &raw));
    const GErrorPtr error(raw);
    if (error) {
        return; // another page is coming, or this object is gone
    }
    const WebWindow& window = static_cast<GtkNavigation*>(self)->window_;
    if (window.onDidFinishNavigation) {
        const GMemory<char> title(jsc_value_to_string(value.get()));
        window.onDidFinishNavigation(title.get());
    }
}

} // namespace platform::gtk
