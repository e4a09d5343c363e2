// A window that hosts one web application. Pages of the application stay in it, a followed link to
// anywhere else opens in the user's browser, and no page ever opens a second window. An address
// that no view can show is never given to it: a mail address goes to the system, everything else is
// dropped. The application cookie is planted before the first load, and a page that has linked this
// device hands its token to the owner. The window is hidden at first and lives as long as this
// object; the owner may let go of it at any time, also from within a callback. Website data
// persists. Main thread only; the facilities outlive it.
#pragma once

#include "mac/Tessel/WebApp/ExternalAddresses.h"
#include "mac/Tessel/WebApp/WebAppConfig.h"
#include "platform/Application.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/WebWindow.h"
#include "platform/Workspace.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tessel {

// What the embedder decides where a system may have no sandbox for pages.
struct WebAppSandbox {
    // Nothing: required where a host of the application needs it (hostThatNeedsSandbox).
    std::optional<platform::Sandbox> use = {};
    // It is required and missing: the window is never shown. Says why, in one line.
    std::function<void(const std::string& reason)> onRefused = {};
};

class WebAppWindow final : public std::enable_shared_from_this<WebAppWindow> {
  public:
    // What the embedder decides.
    using Config = WebAppConfig;
    // The token and the URL of the server that gave it, as the page said them.
    using OnLinked = std::function<void(const std::string& token, const Url& origin)>;

    // What outlives the window.
    struct Facilities {
        // Activation, windows, the user's browser, and the time of the cookie.
        platform::Application& application;
        platform::WebWindowFactory& windows;
        platform::Workspace& workspace;
        platform::Clock& clock;
        platform::Log& log;
    };

    // For embedders: what a desktop browser calls itself.
    static constexpr std::string_view defaultUserAgent =
        "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 (KHTML, like Gecko) "
        "Version/17.0 Safari/605.1.15";
    // Of every load that begins here.
    static constexpr std::chrono::seconds loadTimeout{60};

    // Builds the window and begins to load the start page.
    [[nodiscard]] static std::shared_ptr<WebAppWindow> create(const Facilities& facilities,
                                                              Config config, OnLinked onLinked,
                                                              const WebAppSandbox& sandbox = {});
    // A window cannot be made from an archive: ends the process and says so.
    [[noreturn]] static void initFromCoder();

    // Brings the application and the window to the front.
    void present();
    // `path` is relative to the origin; what gives no URL loads the origin itself.
    void load(std::string_view path);

    // A message from any page; what is no complete "linked" message is ignored.
    void didReceiveScriptMessage(std::string_view name, const boost::json::value& body);

  private:
    WebAppWindow(const Facilities& facilities, Config config, OnLinked onLinked);

    void makeWindow(const WebAppSandbox& sandbox);
    void connect();
    void plantCookieThenLoad();
    [[nodiscard]] platform::NavigationPolicy decide(const platform::NavigationAction& action);
    void openExternally(const platform::NavigationAction& action);

    Facilities facilities_;
    Config config_;
    OnLinked onLinked_;
    ExternalAddresses external_;
    std::unique_ptr<platform::WebWindow> window_;
};

} // namespace tessel
