#include "platform/linux/window/Navigation.h"

#include <memory>
#include <string>

namespace platform::gtk {
namespace {

// Where the page's own scripts cannot change what is asked.
constexpr const char* scriptWorld = "app";

// Which frame it is in is not known before there is an answer.
NavigationAction describe(WebKitNavigationAction* action) {
    WebKitURIRequest* const request = webkit_navigation_action_get_request(action);
    const char* const url = request == nullptr ? nullptr : webkit_uri_request_get_uri(request);
    return {.url = url == nullptr ? "" : url,
            .isLinkActivated = webkit_navigation_action_get_navigation_type(action) ==
                                   WEBKIT_NAVIGATION_TYPE_LINK_CLICKED &&
                               webkit_navigation_action_is_redirect(action) == FALSE,
            .isUserGesture = webkit_navigation_action_is_user_gesture(action) != FALSE};
}

// RFC 6266: by its type alone; what is neither "inline" nor known is one, too.
bool isAttachment(WebKitURIResponse* response) {
    SoupMessageHeaders* const headers = webkit_uri_response_get_http_headers(response);
    char* raw = nullptr;
    if (headers == nullptr ||
        soup_message_headers_get_content_disposition(headers, &raw, nullptr) == FALSE) {
        return false;
    }
    const GMemory<char> disposition(raw);
    return raw != nullptr && *raw != '\0' && g_ascii_strcasecmp(raw, "inline") != 0;
}

} // namespace

Navigation::Navigation(const WindowEvents& events, WebKitWebView* view)
    : events_(events)
    , view_(view) {
    // As WKWebView has it on the desktop; each request still ends in onCreate, which makes none.
    webkit_settings_set_javascript_can_open_windows_automatically(
        webkit_web_view_get_settings(view), TRUE);
    g_signal_connect(view, "decide-policy", G_CALLBACK(onDecidePolicy), this);
    g_signal_connect(view, "create", G_CALLBACK(onCreate), this);
    g_signal_connect(view, "load-failed", G_CALLBACK(onLoadFailed), this);
    g_signal_connect(view, "load-changed", G_CALLBACK(onLoadChanged), this);
    g_signal_connect(view, "notify::uri", G_CALLBACK(onUriChanged), this);
}

Navigation::~Navigation() {
    g_cancellable_cancel(asking_.get());
    g_signal_handlers_disconnect_by_data(view_, this);
}

gboolean Navigation::onDecidePolicy(WebKitWebView* /*view*/, WebKitPolicyDecision* decision,
                                    WebKitPolicyDecisionType type, gpointer data) {
    const auto* const self = static_cast<Navigation*>(data);
    if (type == WEBKIT_POLICY_DECISION_TYPE_RESPONSE) {
        return self->decideResponse(decision) ? TRUE : FALSE;
    }
    if (!self->interests.decides) {
        return FALSE; // the view goes on as it would
    }
    self->ask(decision, describe(webkit_navigation_policy_decision_get_navigation_action(
                            WEBKIT_NAVIGATION_POLICY_DECISION(decision))));
    return TRUE;
}

// False: the view goes on as it would.
bool Navigation::decideResponse(WebKitPolicyDecision* decision) const {
    auto* const answer = WEBKIT_RESPONSE_POLICY_DECISION(decision);
    WebKitURIResponse* const response = webkit_response_policy_decision_get_response(answer);
    const bool inMainFrame =
        webkit_response_policy_decision_is_main_frame_main_resource(answer) != FALSE;
    if (isAttachment(response) ||
        (inMainFrame && webkit_response_policy_decision_is_mime_type_supported(answer) == FALSE)) {
        webkit_policy_decision_download(decision);
        return true;
    }
    if (!inMainFrame || !interests.decides) {
        return false;
    }
    const char* const url = webkit_uri_response_get_uri(response);
    ask(decision, {.url = url == nullptr ? "" : url, .frame = NavigationFrame::main});
    return true;
}

void Navigation::ask(WebKitPolicyDecision* decision, const NavigationAction& action) const {
    const std::shared_ptr<WebKitPolicyDecision> held(WEBKIT_POLICY_DECISION(g_object_ref(decision)),
                                                     GObjectUnref());
    events_.decideNavigation(action, [held](bool allow) {
        if (allow) {
            webkit_policy_decision_use(held.get());
        } else {
            webkit_policy_decision_ignore(held.get());
        }
    });
}

WebKitWebView* Navigation::onCreate(WebKitWebView* /*view*/, WebKitNavigationAction* action,
                                    gpointer self) {
    static_cast<Navigation*>(self)->events_.newWindowRequested(describe(action));
    return nullptr;
}

gboolean Navigation::onLoadFailed(WebKitWebView* /*view*/, WebKitLoadEvent /*event*/,
                                  const char* /*url*/, GError* /*error*/, gpointer self) {
    static_cast<Navigation*>(self)->failed_ = true;
    return FALSE; // WebKit's own handler shows its page
}

void Navigation::onUriChanged(WebKitWebView* view, GParamSpec* /*property*/, gpointer self) {
    const char* const url = webkit_web_view_get_uri(view);
    static_cast<Navigation*>(self)->events_.pageChanged(url == nullptr ? "" : url);
}

void Navigation::onLoadChanged(WebKitWebView* /*view*/, WebKitLoadEvent event, gpointer data) {
    auto* const self = static_cast<Navigation*>(data);
    if (event == WEBKIT_LOAD_STARTED) {
        self->failed_ = false;
        g_cancellable_cancel(self->asking_.get());
    } else if (event == WEBKIT_LOAD_FINISHED && !self->failed_ && self->interests.finishes) {
        // Asking brings a JavaScript engine into this process: not for a window without an
        // answerer.
        self->askForTitle();
    }
}

// The view learns a page's title from a task of the page that may run after the load is finished,
// and never if the title is empty.
void Navigation::askForTitle() {
    asking_.reset(g_cancellable_new());
    webkit_web_view_evaluate_javascript(view_, "document.title", -1, scriptWorld, nullptr,
                                        asking_.get(), onTitle, this);
}

void Navigation::onTitle(GObject* view, GAsyncResult* result, gpointer self) {
    GError* raw = nullptr;
    const GObjectPtr<JSCValue> value(
        webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(view), result, &raw));
    const GErrorPtr error(raw);
    if (error) {
        return; // another page is coming, or this object is gone
    }
    const GMemory<char> title(jsc_value_to_string(value.get()));
    static_cast<Navigation*>(self)->events_.pageFinished(title.get());
}

} // namespace platform::gtk
