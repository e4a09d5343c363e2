// The guard between an account service and the user's browser: only a page of the very origin that
// the link was asked from is ever opened. Pure; any thread; throws nothing but std::bad_alloc.
#pragma once

#include "mac/Tessel/Values/Url.h"

#include <optional>
#include <string_view>

namespace tessel {

// The parsed URL when its host is the origin's to the letter, its port the origin's (none and none,
// or equal numbers: an explicit default port is not the same as none), and its scheme "https", or
// "http" on "localhost", "127.0.0.1" or "::1". User information, path, query and fragment do not
// matter.
[[nodiscard]] std::optional<Url> validatedVerifyURL(std::string_view verifyUrl,
                                                    const Url& serverOrigin);

} // namespace tessel
