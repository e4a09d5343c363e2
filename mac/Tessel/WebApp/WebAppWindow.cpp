#include "mac/Tessel/WebApp/WebAppWindow.h"

#include "mac/Tessel/WebApp/PageDialogs.h"
#include "mac/Tessel/WebApp/WeakScriptHandler.h"
#include "mac/Tessel/WebApp/WebAppRules.h"
#include "mac/Tessel/WebApp/WebAppScripts.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace tessel {

using platform::NavigationPolicy;
using platform::ScriptInjectionTime;

std::shared_ptr<WebAppWindow> WebAppWindow::create(const Facilities& facilities, Config config,
                                                   OnLinked onLinked,
                                                   const WebAppSandbox& sandbox) {
    const std::shared_ptr<WebAppWindow> created(
        new WebAppWindow(facilities, std::move(config), std::move(onLinked)));
    created->makeWindow(sandbox);
    created->connect();
    created->plantCookieThenLoad();
    return created;
}

WebAppWindow::WebAppWindow(const Facilities& facilities, Config config, OnLinked onLinked)
    : facilities_(facilities)
    , config_(std::move(config))
    , onLinked_(std::move(onLinked))
    , external_(facilities.workspace, facilities.clock, facilities.log) {}

void WebAppWindow::initFromCoder() {
    std::fputs("init(coder:) unavailable\n", stderr);
    std::abort();
}

void WebAppWindow::makeWindow(const WebAppSandbox& sandbox) {
    window_ = facilities_.windows.makeWebWindow(
        {.title = config_.windowTitle,
         .contentWidth = 1100,
         .contentHeight = 760,
         .closable = true,
         .miniaturizable = true,
         .resizable = true,
         .minimumWidth = 720,
         .minimumHeight = 480,
         .tabbing = false,
         .backForwardGestures = true,
         .userAgent = config_.userAgent,
         .userScripts = {{.source = bootstrapScript(config_),
                          .when = ScriptInjectionTime::documentStart},
                         {.source = mintScript(config_), .when = ScriptInjectionTime::documentEnd}},
         .sandbox = sandbox.use.value_or(hostThatNeedsSandbox(config_)
                                             ? platform::Sandbox::required
                                             : platform::Sandbox::whereAvailable),
         .confirmTitles = pageConfirmTitles()});
    window_->onRefused = sandbox.onRefused;
    window_->setFrameAutosaveName(config_.windowTitle + "MainWindow");
}

void WebAppWindow::connect() {
    window_->addScriptMessageHandler(config_.bridgeName, WeakScriptHandler(weak_from_this()));
    window_->decideNavigationPolicy = [this](const platform::NavigationAction& action) {
        return decide(action);
    };
    window_->onNewWindowRequest = [this](const platform::NavigationAction& action) {
        openExternally(action);
    };
    window_->onDidFinishNavigation = [this](const std::string& pageTitle) {
        window_->setTitle(titleFor(config_, pageTitle));
    };
}

void WebAppWindow::plantCookieThenLoad() {
    const auto cookie = appCookie(config_, facilities_.clock.wallNow());
    if (!cookie) {
        load(config_.startPath);
        return;
    }
    window_->setCookie(*cookie, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->load(self->config_.startPath);
        }
    });
}

void WebAppWindow::present() {
    facilities_.application.activateIgnoringOtherApps();
    window_->makeKeyAndOrderFront();
}

void WebAppWindow::load(std::string_view path) {
    window_->loadUrl(std::string(appUrl(config_, path).buffer()), loadTimeout);
}

NavigationPolicy WebAppWindow::decide(const platform::NavigationAction& action) {
    if (leavesTheApp(config_, action) || !canBeShown(action.url)) {
        openExternally(action);
        return NavigationPolicy::cancel;
    }
    return NavigationPolicy::allow;
}

void WebAppWindow::openExternally(const platform::NavigationAction& action) {
    if (mayOpenExternally(action.url)) {
        external_.open(action);
    }
}

void WebAppWindow::didReceiveScriptMessage(std::string_view name, const boost::json::value& body) {
    const auto message = linkedMessage(config_, name, body);
    if (message && onLinked_) {
        onLinked_(message->token, message->origin);
    }
}

} // namespace tessel
