// A window whose whole content is a web view, modelled on NSWindow and WKWebView. It is created
// hidden; closing it by the user hides it and keeps it. Website data is persistent and private to
// the user. Main thread only; callbacks too. A back end shows what it is told and decides nothing:
// failed loads are shown by the web view itself, and a web process that died is reported, not
// reloaded. Pages may ask the user by dialogs, print, and offer files to be saved, none of which
// holds up the end of the application; a page that does so too often is not heard
// (QuestionLimit.h). A file is saved where the user says, one at a time, and is there whole or not
// at all. Where windows live in a process of their own and that one dies, the window comes back
// with its size and the page it showed; it is closed, as by the user, when that keeps happening.
//
// A page and the application talk as WebKit's user content controller has it: user scripts run in
// the page's own world, and window.webkit.messageHandlers.NAME.postMessage(BODY) arrives here.
#pragma once

#include "platform/Clock.h"

#include <boost/json/fwd.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// Before the page's own content is read, or once all of it was.
enum class ScriptInjectionTime { documentStart, documentEnd };

// Runs in the main frame of every page, after the scripts before it.
struct UserScript {
    std::string source; // JavaScript
    // When it runs.
    ScriptInjectionTime when = ScriptInjectionTime::documentStart;
};

// Whether pages run in the web engine's sandbox, where a system may be unable to provide it.
enum class Sandbox { required, whereAvailable, off };

// The two buttons of a page's confirm(). A system whose web view shows that dialog itself has its
// own titles.
struct ConfirmTitles {
    std::string accept; // answers true
    std::string refuse; // answers false, as does closing the dialog
};

// What a window is made with.
struct WebWindowOptions {
    std::string title;     // UTF-8
    int contentWidth = 0;  // points
    int contentHeight = 0; // points
    // What the user may do with it.
    bool closable = true;
    bool miniaturizable = true;
    bool resizable = true;

    bool inspectable = false;         // whether the web inspector may attach
    int minimumWidth = 0;             // points
    int minimumHeight = 0;            // points
    bool tabbing = true;              // whether the system may make it a tab of another window
    bool backForwardGestures = false; // swiping goes through the history
    std::string userAgent = {};       // empty: the view's own

    // For every page that the window shows.
    std::vector<UserScript> userScripts = {};
    Sandbox sandbox = Sandbox::whereAvailable;
    ConfirmTitles confirmTitles = {};
};

// Whether the view goes there.
enum class NavigationPolicy { allow, cancel };

// `unknown`: the system does not say before the page's server has answered; then it asks again,
// with `main`, if that is what it is.
enum class NavigationFrame { unknown, main, other };

// Where a page wants to go, and what led to it.
struct NavigationAction {
    std::string url = {};         // as the view writes it; empty when the action has none
    bool isLinkActivated = false; // a link was followed; form submissions and scripts are not
    bool isUserGesture = false;   // something that the user did led to it, if only by a script
    // What is to show it.
    NavigationFrame frame = NavigationFrame::unknown;
};

// A cookie without the HttpOnly and SameSite attributes (RFC 6265). It is sent to `domain` alone,
// not to domains below it.
struct WebCookie {
    // As the Set-Cookie header has them; it is forgotten after `expires`.
    std::string name;
    std::string value;
    std::string domain;
    std::string path;
    WallTime expires = {};
    bool secure = false;
};

// `body` holds what the page posted: null (also for undefined), booleans, numbers, strings, arrays
// and objects. A date, or whatever else JSON cannot say, is null in its place; so is a body that
// is nested too deeply or too large.
using ScriptMessageHandler =
    std::function<void(const std::string& name, const boost::json::value& body)>;

class WebWindow {
  public:
    virtual ~WebWindow() = default;

    // The size (and, where the system allows it, the place) is saved in the user's defaults under
    // this name, and restored from there by this call.
    virtual void setFrameAutosaveName(std::string_view name) = 0;
    // Puts the window in the middle of the screen where the system lets an application do that.
    virtual void center() = 0;
    // Shows the window in front of the others, with the keyboard's focus, or hides it.
    virtual void makeKeyAndOrderFront() = 0;
    virtual void orderOut() = 0;
    // Whether it is on the screen, be it behind others.
    [[nodiscard]] virtual bool isVisible() const = 0;
    // In the place of the options' title.
    virtual void setTitle(std::string_view title) = 0;

    // Called for each message of that name, from any frame of any page shown after this call. The
    // window may be destroyed by a handler. A name has one handler.
    virtual void addScriptMessageHandler(std::string_view name, ScriptMessageHandler handler) = 0;
    // Puts the cookie among the website data. The completion is called once, also when the system
    // refuses the cookie, and possibly before this returns or after the window is gone.
    virtual void setCookie(const WebCookie& cookie, std::function<void()> completion) = 0;

    // A page given as text, without a base URL.
    virtual void loadHtml(std::string_view html) = 0;
    // The protocol's default cache policy; the load is given up after `timeout` without a reply.
    virtual void loadUrl(const std::string& url, std::chrono::seconds timeout) = 0;
    // The page that is shown, once more; after the end of its web process, the one that was.
    virtual void reload() = 0;

    // Whether pages may send anything over the network, until the next call; at first they may. The
    // page that is displayed stays as it is; what it asks for meanwhile fails, and so does a load.
    virtual void setNetworkAllowed(bool allowed) = 0;

    // The user closed the window; it is hidden when this returns.
    std::function<void()> onWillClose;
    // The view's web process died (crashed, was killed, ran out of memory), or whatever shows the
    // window did while the page could not be loaded again. The view is blank.
    std::function<void()> onWebProcessTerminated;
    // Asked before each navigation of a frame; without it all are allowed.
    std::function<NavigationPolicy(const NavigationAction&)> decideNavigationPolicy;
    // A page wants another window: a link with a blank target that the policy allowed, or a script.
    // None is ever made. The URL is empty when the request has none.
    std::function<void(const NavigationAction&)> onNewWindowRequest;
    // The sandbox is required and the system has none: the window cannot be shown. Says why, in one
    // line.
    std::function<void(const std::string& reason)> onRefused;
    // The main frame has loaded a page; `pageTitle` is empty when it has no title.
    std::function<void(const std::string& pageTitle)> onDidFinishNavigation;
};

// Makes windows. Main thread only.
class WebWindowFactory {
  public:
    virtual ~WebWindowFactory() = default;

    // A new window, hidden and empty; its owner destroys it.
    [[nodiscard]] virtual std::unique_ptr<WebWindow> makeWebWindow(const WebWindowOptions&) = 0;
};

} // namespace platform
