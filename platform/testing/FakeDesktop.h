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
    // Asks the delegate given to run(), as the system does.
    void terminate() override;
    void activateIgnoringOtherApps() override { events_.emplace_back("activate"); }
    void setActivationPolicy(ActivationPolicy policy) override;
    [[nodiscard]] std::optional<SystemEvent> currentEvent() const override { return event; }

    std::optional<SystemEvent> event;
    ActivationPolicy policy = ActivationPolicy::regular;
    bool terminated = false;

  private:
    Events& events_;
    ApplicationDelegate* delegate_ = nullptr;
};

class FakeWebWindow final : public WebWindow {
  public:
    explicit FakeWebWindow(Events& events)
        : events_(events) {}

    void setFrameAutosaveName(std::string_view name) override;
    void center() override { events_.emplace_back("window center"); }
    void makeKeyAndOrderFront() override;
    void orderOut() override;
    [[nodiscard]] bool isVisible() const override { return visible_; }
    void loadHtml(std::string_view html) override;
    void loadUrl(const std::string& url, std::chrono::seconds timeout) override;

    // The user clicks the close button.
    void close();
    std::string html; // of the last loadHtml

  private:
    Events& events_;
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

  private:
    Events& events_;
};

class FakeNotificationCenter final : public NotificationCenter {
  public:
    void observe(std::string name, std::function<void()> handler) override;
    void post(std::string_view name) override;

    std::multimap<std::string, std::function<void()>, std::less<>> handlers;
};

} // namespace platform::testing
