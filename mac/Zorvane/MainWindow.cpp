#include "mac/Zorvane/MainWindow.h"

#include "mac/Tessel/Values/LoopbackHost.h"
#include "mac/Tessel/WebApp/PageDialogs.h"
#include "mac/Tessel/WebApp/WebAppRules.h"

#include <string>
#include <utility>
#include <vector>

namespace zorvane {
namespace {

// A page that was given as text has this address.
bool isBuiltIn(std::string_view url) {
    return url.empty() || url.starts_with("about:");
}

// A frame inside a page may show other computers' pages, but no link leads there.
bool belongsElsewhere(const platform::NavigationAction& action) {
    if (!tessel::canBeShown(action.url)) {
        return true;
    }
    const auto host = tessel::hostOf(action.url);
    return host && !tessel::isLoopbackHost(*host) &&
           (action.isLinkActivated || action.frame == platform::NavigationFrame::main);
}

} // namespace

MainWindowController::MainWindowController(platform::WebWindowFactory& windows,
                                           platform::Application& application,
                                           platform::Workspace& workspace, platform::Clock& clock,
                                           platform::Log& log)
    : windows_(windows)
    , application_(application)
    , clock_(clock)
    , log_(log)
    , external_(workspace, clock, log) {}

void MainWindowController::makeWindow() {
    window_ = windows_.makeWebWindow({.title = "Zorvane",
                                      .contentWidth = 1200,
                                      .contentHeight = 800,
                                      .closable = true,
                                      .miniaturizable = true,
                                      .resizable = true,
                                      .inspectable = true,
                                      .confirmTitles = tessel::pageConfirmTitles()});
    // In this order on purpose: the name restores a saved size, and centring then puts the window
    // in the middle of the screen every time it is made.
    window_->setFrameAutosaveName("OstraMainWindow");
    window_->center();
    window_->onWillClose = [this] { windowWillClose(); };
    window_->onWebProcessTerminated = [this] { webProcessTerminated(); };
    window_->decideNavigationPolicy = [this](const platform::NavigationAction& action) {
        return decide(action);
    };
    window_->onNewWindowRequest = [this](const platform::NavigationAction& action) {
        if (serverAnswers_) {
            openElsewhere(action);
        }
    };
    window_->setNetworkAllowed(serverAnswers_);
    showStartingPage();
}

platform::NavigationPolicy MainWindowController::decide(const platform::NavigationAction& action) {
    if (isBuiltIn(action.url)) {
        return platform::NavigationPolicy::allow;
    }
    if (serverAnswers_ && !isLeaving_) {
        if (!belongsElsewhere(action)) {
            return platform::NavigationPolicy::allow;
        }
        openElsewhere(action);
    }
    return platform::NavigationPolicy::cancel;
}

void MainWindowController::openElsewhere(const platform::NavigationAction& action) {
    if (tessel::mayBeHandedOver(action.url)) {
        external_.open(action);
    }
}

void MainWindowController::showStartingPage() {
    loadedURL_.reset();
    window_->loadHtml(startingPage);
}

void MainWindowController::setServerAnswers(bool answers) {
    serverAnswers_ = answers;
    if (window_ && !answers) {
        window_->setNetworkAllowed(false);
    }
}

void MainWindowController::show() {
    if (!window_) {
        makeWindow();
    }
    if (onVisibilityChange) {
        onVisibilityChange(true);
    }
    window_->makeKeyAndOrderFront();
    application_.activateIgnoringOtherApps();
    const bool isBlank = std::exchange(isBlank_, false);
    if (serverAnswers_ && currentURL && currentURL != loadedURL_) {
        load(*currentURL);
    } else if (isBlank) {
        showStartingPage();
    }
}

void MainWindowController::load(const ostra::Url& url) {
    const bool leavesAnother = loadedURL_ && loadedURL_ != url;
    loadedURL_ = url;
    if (!window_) {
        return;
    }
    if (leavesAnother || isLeaving_) {
        isLeaving_ = true;
        // Not always: to know costs a window a JavaScript engine.
        window_->onDidFinishNavigation = [this](const std::string&) { hasLeft(); };
        window_->loadHtml(startingPage);
    } else {
        loadNow(url);
    }
}

void MainWindowController::hasLeft() {
    if (std::exchange(isLeaving_, false) && serverAnswers_ && loadedURL_) {
        loadNow(*loadedURL_);
    }
}

void MainWindowController::loadNow(const ostra::Url& url) {
    window_->onDidFinishNavigation = {};
    window_->setNetworkAllowed(true);
    window_->loadUrl(std::string(url.buffer()), loadTimeout);
}

void MainWindowController::orderOut() {
    if (window_) {
        window_->orderOut();
    }
}

void MainWindowController::windowWillClose() {
    if (onVisibilityChange) {
        onVisibilityChange(false);
    }
}

void MainWindowController::webProcessTerminated() {
    const platform::SteadyTime now = clock_.now();
    std::erase_if(deaths_, [&](auto moment) { return now - moment >= std::chrono::minutes(1); });
    deaths_.push_back(now);
    const bool wasLeaving = std::exchange(isLeaving_, false);
    if (deaths_.size() >= deathsPerMinute) {
        giveUp();
    } else if (!loadedURL_ || !serverAnswers_) {
        showStartingPage();
    } else if (wasLeaving) {
        loadNow(*loadedURL_);
    } else {
        window_->reload();
    }
}

// The next show() begins anew.
void MainWindowController::giveUp() {
    log_.write("the page keeps crashing; the window is closed until it is asked for");
    deaths_.clear();
    loadedURL_.reset();
    isBlank_ = true;
    if (window_->isVisible()) {
        window_->orderOut();
        windowWillClose();
    }
}

} // namespace zorvane
