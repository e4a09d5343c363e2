// URLs by RFC 3986, to the letter: text that the RFC does not allow (spaces, backslashes, anything
// that is not ASCII) is no URL, and the case of scheme and host is kept. Pure; any thread; nothing
// is thrown but std::bad_alloc.
#pragma once

#include <boost/url/url.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace tessel {

// A URL (RFC 3986); make one with parseUrl().
using Url = boost::urls::url;

// A URL with a scheme, or a relative reference.
[[nodiscard]] std::optional<Url> parseUrl(std::string_view text);

// As written; absent when there is none.
[[nodiscard]] std::optional<std::string> urlScheme(const Url& url);

// As written, percent-escapes included, but an IPv6 address without its brackets; absent when
// there is none or it is empty.
[[nodiscard]] std::optional<std::string> urlHost(const Url& url);

// In decimal without leading zeros; absent when there is none ("host" and "host:" alike).
[[nodiscard]] std::optional<std::string> urlPort(const Url& url);

} // namespace tessel
