#include "mac/Tessel/WebApp/WebAppRules.h"

#include "mac/Tessel/Values/LoopbackHost.h"
#include "mac/Tessel/Values/Url.h"

#include <boost/json/value.hpp>

#include <algorithm>
#include <array>
#include <chrono>

namespace tessel {
namespace {

constexpr std::chrono::days cookieLifetime{1825};

std::string lowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                    : character;
    });
    return text;
}

std::optional<std::string_view> stringAt(const boost::json::object& object, std::string_view key) {
    const boost::json::value* const value = object.if_contains({key.data(), key.size()});
    const boost::json::string* const text = value == nullptr ? nullptr : value->if_string();
    if (text == nullptr) {
        return std::nullopt;
    }
    return std::string_view(text->data(), text->size());
}

} // namespace

std::optional<std::string> hostOf(const Url& origin) {
    std::string host = origin.host_address();
    return host.empty() ? std::nullopt : std::optional(std::move(host));
}

std::optional<std::string> hostOf(std::string_view pageUrl) {
    constexpr std::string_view authorityMark = "://";
    const std::size_t mark = pageUrl.find(authorityMark);
    if (mark == std::string_view::npos) {
        return std::nullopt;
    }
    // What follows the authority may hold what a strict parser refuses, and has no say here.
    const std::size_t end = pageUrl.find_first_of("/?#\\", mark + authorityMark.size());
    const auto parsed = parseUrl(pageUrl.substr(0, end));
    if (!parsed || !parsed->has_scheme() || parsed->host_address().empty()) {
        return std::nullopt;
    }
    return lowerCase(parsed->host_address());
}

bool isInApp(const WebAppConfig& config, std::string_view pageUrl) {
    const auto host = hostOf(pageUrl);
    if (!host) {
        return false;
    }
    const auto own = hostOf(config.origin);
    return (own && *host == lowerCase(*own)) || config.authHosts.contains(*host);
}

bool leavesTheApp(const WebAppConfig& config, const platform::NavigationAction& action) {
    return !action.url.empty() && action.isLinkActivated && !isInApp(config, action.url);
}

bool mayOpenExternally(std::string_view url) {
    constexpr std::array<std::string_view, 3> prefixes = {"https:", "http:", "mailto:"};
    return std::ranges::any_of(prefixes,
                               [url](std::string_view prefix) { return url.starts_with(prefix); });
}

Url appUrl(const WebAppConfig& config, std::string_view path) {
    auto reference = parseUrl(path);
    if (reference && reference->has_authority() && !reference->has_scheme()) {
        // Boost 1.81 would read the host again by its own rule.
        reference->set_scheme(config.origin.scheme());
    }
    Url absolute;
    if (!reference || !boost::urls::resolve(config.origin, *reference, absolute)) {
        return config.origin;
    }
    return absolute;
}

std::optional<platform::WebCookie> appCookie(const WebAppConfig& config, platform::WallTime now) {
    auto domain = hostOf(config.origin);
    if (!domain || config.appCookieName.empty()) {
        return std::nullopt;
    }
    return platform::WebCookie{.name = config.appCookieName,
                               .value = "1",
                               .domain = *std::move(domain),
                               .path = "/",
                               .expires = now + cookieLifetime,
                               .secure = config.origin.scheme() == "https"};
}

std::optional<std::string> hostThatNeedsSandbox(const WebAppConfig& config) {
    const auto own = hostOf(config.origin);
    if (!own) {
        return std::string(config.origin.buffer());
    }
    if (!isLoopbackHost(lowerCase(*own))) {
        return own;
    }
    const auto stranger = std::ranges::find_if_not(config.authHosts, &isLoopbackHost);
    return stranger == config.authHosts.end() ? std::nullopt : std::optional(*stranger);
}

const std::string& titleFor(const WebAppConfig& config, const std::string& pageTitle) {
    return pageTitle.empty() ? config.windowTitle : pageTitle;
}

std::optional<LinkedMessage> linkedMessage(const WebAppConfig& config, std::string_view name,
                                           const boost::json::value& body) {
    const boost::json::object* const object = body.if_object();
    if (name != config.bridgeName || object == nullptr || stringAt(*object, "action") != "linked") {
        return std::nullopt;
    }
    const auto token = stringAt(*object, "token");
    const auto origin = stringAt(*object, "origin");
    if (!token || !origin) {
        return std::nullopt;
    }
    const auto url = parseUrl(*origin);
    if (!url || !url->has_scheme()) {
        return std::nullopt;
    }
    return LinkedMessage{.token = std::string(*token), .origin = *url};
}

} // namespace tessel
