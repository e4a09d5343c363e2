// An in-memory desktop: the application object, its windows and its notifications. Everything that
// the product asks of it is written to one list of events, in order. For tests; one thread only.
#pragma once

#include "platform/Application.h"
#include "platform/NotificationCenter.h"
#include "platform/WebWindow.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform::testing {

using Events = std::vector<std::string>;

class FakeApplication final : public Application {
  public:
    explicit FakeApplication(Events& events)
        : events_(events) {}

    int run(ApplicationDelegate& delegate) override;
    [[nodiscard]] bool takeOver() override {
        events_.emplace_back("take over");
        return takesOver;
    }
    // Asks the delegate given to run(), as the system does.
    void terminate() override;
    void activateIgnoringOtherApps() override { events_.emplace_back("activate"); }
    void setActivationPolicy(ActivationPolicy policy) override;
    [[nodiscard]] std::optional<SystemEvent> currentEvent() const override { return event; }

    std::optional<SystemEvent> event;
    ActivationPolicy policy = ActivationPolicy::regular;
    bool takesOver = true;
    bool terminated = false;

  private:
    Events& events_;
    ApplicationDelegate* delegate_ = nullptr;
};

class FakeWebWindow final : public WebWindow {
  public:
    FakeWebWindow(Events& events, const bool& holdCookies,
                  std::vector<std::function<void()>>& cookieCompletions)
        : events_(events)
        , holdCookies_(holdCookies)
        , cookieCompletions_(cookieCompletions) {}

    void setFrameAutosaveName(std::string_view name) override;
    void center() override { events_.emplace_back("window center"); }
    void makeKeyAndOrderFront() override;
    void orderOut() override;
    [[nodiscard]] bool isVisible() const override { return visible_; }
    void setTitle(std::string_view text) override { title = text; }
    void addScriptMessageHandler(std::string_view name, ScriptMessageHandler handler) override;
    // Completes at once unless `holdCookies` is set.
    void setCookie(const WebCookie& given, std::function<void()> completion) override;
    void loadHtml(std::string_view html) override;
    void loadUrl(const std::string& url, std::chrono::seconds timeout) override;
    void reload() override { events_.emplace_back("reload"); }
    void setNetworkAllowed(bool allowed) override { networkAllowed = allowed; }

    // The user clicks the close button.
    void close();
    // A page posts a message, as it can whether or not somebody listens.
    void postMessage(std::string_view name, const boost::json::value& body);

    std::string html; // of the last loadHtml
    bool networkAllowed = true;
    std::string title;
    std::map<std::string, ScriptMessageHandler, std::less<>> messageHandlers;
    std::vector<WebCookie> cookies;

  private:
    Events& events_;
    const bool& holdCookies_;
    std::vector<std::function<void()>>& cookieCompletions_;
    bool visible_ = false;
};

class FakeWebWindows final : public WebWindowFactory {
  public:
    explicit FakeWebWindows(Events& events)
        : events_(events) {}

    [[nodiscard]] std::unique_ptr<WebWindow> makeWebWindow(const WebWindowOptions& given) override;

    WebWindowOptions options;        // of the last window
    FakeWebWindow* window = nullptr; // the last window, owned by its receiver
    int made = 0;
    bool holdCookies = false; // keeps the completions of setCookie in `cookieCompletions`
    std::vector<std::function<void()>> cookieCompletions;

  private:
    Events& events_;
};

class FakeNotificationCenter final : public NotificationCenter {
  public:
    void observe(std::string name, std::function<void()> handler) override;
    void post(std::string_view name) override;

    std::multimap<std::string, std::function<void()>, std::less<>> handlers;
    Events* events = nullptr; // told of what is observed
};

} // namespace platform::testing
