#include "mac/Zorvane/MainWindow.h"

#include <string>

namespace zorvane {
namespace {

constexpr std::string_view crashedPage =
    "<!doctype html><meta charset=\"utf-8\">\n"
    "<style>\n"
    "  body { display: flex; align-items: center; justify-content: center; text-align: center;\n"
    "         height: 100vh; margin: 0; background: #111; color: #ddd;\n"
    "         font: 15px -apple-system, sans-serif; }\n"
    "</style>\n"
    "<body>This page keeps crashing. The server is not affected.<br>"
    "Close this window and open it again to try once more.</body>";

// A page that was given as text has this address.
bool isBuiltIn(std::string_view url) {
    return url.empty() || url.starts_with("about:");
}

} // namespace

MainWindowController::MainWindowController(platform::WebWindowFactory& windows,
                                           platform::Application& application,
                                           platform::Clock& clock)
    : windows_(windows)
    , application_(application)
    , clock_(clock) {}

void MainWindowController::makeWindow() {
    window_ = windows_.makeWebWindow({.title = "Zorvane",
                                      .contentWidth = 1200,
                                      .contentHeight = 800,
                                      .closable = true,
                                      .miniaturizable = true,
                                      .resizable = true,
                                      .inspectable = true});
    // In this order on purpose: the name restores a saved size, and centring then puts the window
    // in the middle of the screen every time it is made.
    window_->setFrameAutosaveName("OstraMainWindow");
    window_->center();
    window_->onWillClose = [this] { windowWillClose(); };
    window_->onWebProcessTerminated = [this] { webProcessTerminated(); };
    window_->decideNavigationPolicy = [this](const platform::NavigationAction& action) {
        return serverAnswers_ || isBuiltIn(action.url) ? platform::NavigationPolicy::allow
                                                       : platform::NavigationPolicy::cancel;
    };
    window_->setNetworkAllowed(serverAnswers_);
    showStartingPage();
}

void MainWindowController::showStartingPage() {
    loadedURL_.reset();
    window_->loadHtml(startingPage);
}

void MainWindowController::setServerAnswers(bool answers) {
    serverAnswers_ = answers;
    if (window_) {
        window_->setNetworkAllowed(answers);
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
    if (serverAnswers_ && currentURL && currentURL != loadedURL_) {
        load(*currentURL);
    }
}

void MainWindowController::load(const ostra::Url& url) {
    loadedURL_ = url;
    if (window_) {
        window_->loadUrl(std::string(url.buffer()), loadTimeout);
    }
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
    while (!reloads_.empty() && now - reloads_.front() >= std::chrono::minutes(1)) {
        reloads_.pop_front();
    }
    if (reloads_.size() >= reloadsPerMinute) {
        loadedURL_.reset(); // so that the next show() tries the address again
        window_->loadHtml(crashedPage);
        return;
    }
    reloads_.push_back(now);
    if (loadedURL_ && serverAnswers_) {
        load(ostra::Url(*loadedURL_));
    } else {
        showStartingPage();
    }
}

} // namespace zorvane
