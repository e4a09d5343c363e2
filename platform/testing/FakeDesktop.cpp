#include "platform/testing/FakeDesktop.h"

#include <boost/json/value.hpp>

#include <utility>

namespace platform::testing {

int FakeApplication::run(ApplicationDelegate& delegate) {
    delegate_ = &delegate;
    delegate.applicationDidFinishLaunching();
    return 0;
}

void FakeApplication::terminate() {
    if (delegate_ != nullptr && delegate_->applicationShouldTerminate() == TerminateReply::now) {
        terminated = true;
        delegate_->applicationWillTerminate();
    }
}

void FakeApplication::setActivationPolicy(ActivationPolicy newPolicy) {
    policy = newPolicy;
    events_.emplace_back(newPolicy == ActivationPolicy::regular ? "policy regular"
                                                                : "policy accessory");
}

void FakeWebWindow::setFrameAutosaveName(std::string_view name) {
    events_.push_back("window autosave " + std::string(name));
}

void FakeWebWindow::makeKeyAndOrderFront() {
    visible_ = true;
    events_.emplace_back("window front");
}

void FakeWebWindow::orderOut() {
    visible_ = false;
    events_.emplace_back("window out");
}

void FakeWebWindow::addScriptMessageHandler(std::string_view name, ScriptMessageHandler handler) {
    events_.push_back("window handler " + std::string(name));
    messageHandlers.insert_or_assign(std::string(name), std::move(handler));
}

void FakeWebWindow::postMessage(std::string_view name, const boost::json::value& body) {
    if (const auto found = messageHandlers.find(name); found != messageHandlers.end()) {
        const auto handler = found->second; // which may destroy this window
        handler(std::string(name), body);
    }
}

void FakeWebWindow::setCookie(const WebCookie& given, std::function<void()> completion) {
    events_.push_back("cookie " + given.name);
    cookies.push_back(given);
    if (holdCookies_) {
        cookieCompletions_.push_back(std::move(completion));
    } else {
        completion();
    }
}

void FakeWebWindow::loadHtml(std::string_view text) {
    html = text;
    events_.emplace_back("load html");
}

void FakeWebWindow::loadUrl(const std::string& url, std::chrono::seconds timeout) {
    events_.push_back("load " + url + " within " + std::to_string(timeout.count()) + " s" +
                      (networkAllowed ? "" : " without network"));
}

void FakeWebWindow::close() {
    visible_ = false;
    if (onWillClose) {
        onWillClose();
    }
}

std::unique_ptr<WebWindow> FakeWebWindows::makeWebWindow(const WebWindowOptions& given) {
    options = given;
    ++made;
    events_.emplace_back("window made");
    auto created = std::make_unique<FakeWebWindow>(events_, holdCookies, cookieCompletions);
    window = created.get();
    window->title = given.title;
    return created;
}

void FakeNotificationCenter::observe(std::string name, std::function<void()> handler) {
    if (events != nullptr) {
        events->push_back("observe " + name);
    }
    handlers.emplace(std::move(name), std::move(handler));
}

void FakeNotificationCenter::post(std::string_view name) {
    const auto [first, last] = handlers.equal_range(name);
    for (auto handler = first; handler != last; ++handler) {
        handler->second();
    }
}

} // namespace platform::testing
