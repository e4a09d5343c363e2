// What a web app window decides, as functions of its configuration: what is in the app, what goes
// to the user's browser, which cookie is planted, which title is shown, which message links the
// application. URLs of pages come as the web view writes them (the URL Standard), which allows
// characters that RFC 3986 does not. Pure; any thread; nothing is thrown.
#pragma once

#include "mac/Tessel/WebApp/WebAppConfig.h"
#include "platform/WebWindow.h"

#include <optional>
#include <string>
#include <string_view>

namespace tessel {

// The origin's host as written, and the lower-case host of a page's URL. IPv6 addresses have no
// brackets; nothing where there is no host.
[[nodiscard]] std::optional<std::string> hostOf(const Url& origin);
[[nodiscard]] std::optional<std::string> hostOf(std::string_view pageUrl);

// Whether the URL's host is the origin's (on any port, by any scheme) or exactly one of the
// sign-in hosts.
[[nodiscard]] bool isInApp(const WebAppConfig& config, std::string_view pageUrl);

// Whether the navigation belongs into the user's browser instead: only a followed link does.
[[nodiscard]] bool leavesTheApp(const WebAppConfig& config,
                                const platform::NavigationAction& action);

// Whether the system may be asked to open the URL: web pages and mail addresses, by schemes in
// lower case.
[[nodiscard]] bool mayOpenExternally(std::string_view url);

// `path` relative to the origin; the origin itself when that gives no URL.
[[nodiscard]] Url appUrl(const WebAppConfig& config, std::string_view path);

// Valid for 1825 days from `now`. Nothing when the origin has no host or the cookie no name.
[[nodiscard]] std::optional<platform::WebCookie> appCookie(const WebAppConfig& config,
                                                           platform::WallTime now);

// The first host of the application that another computer can be: its pages are shown in the web
// engine's sandbox or not at all. Nothing when every host is this computer. An origin without a
// host counts as such a host, by its whole text.
[[nodiscard]] std::optional<std::string> hostThatNeedsSandbox(const WebAppConfig& config);

// The page's own title, or the window's when that is empty.
[[nodiscard]] const std::string& titleFor(const WebAppConfig& config, const std::string& pageTitle);

// What a "linked" message carries.
struct LinkedMessage {
    // As the page said it; nothing is judged.
    std::string token;
    Url origin; // absolute

    bool operator==(const LinkedMessage&) const = default;
};

// Nothing when the message is another one or not complete. Keys beyond the three are ignored.
[[nodiscard]] std::optional<LinkedMessage>
linkedMessage(const WebAppConfig& config, std::string_view name, const boost::json::value& body);

} // namespace tessel
