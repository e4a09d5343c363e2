// The two scripts of a web app window, generated from its configuration. The first tells a page of
// the application that it runs inside the desktop application; the second asks the server for a
// token with the page's own session and posts it to the bridge, once per browsing session. Both
// are plain ECMAScript for the main frame. Pure functions; any thread; nothing is thrown.
#pragma once

#include "mac/Tessel/WebApp/WebAppConfig.h"

#include <string>
#include <string_view>

namespace tessel {

// For the start of the document. The globals appear on pages of the origin's host and the hosts
// below it, and everywhere when the origin has no host.
[[nodiscard]] std::string bootstrapScript(const WebAppConfig& config);

// For the end of the document. Does nothing where the globals are missing or say no.
[[nodiscard]] std::string mintScript(const WebAppConfig& config);

// A string literal in double quotes. Backslashes and double quotes are escaped and nothing else
// is: text with a line end is no literal.
[[nodiscard]] std::string quotedForScript(std::string_view text);

} // namespace tessel
