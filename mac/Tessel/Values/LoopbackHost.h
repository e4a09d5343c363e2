// Hosts that only this computer can be. A name is compared as it stands, in lower case; an IPv6
// address has no brackets. Pure; any thread; nothing is thrown.
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace tessel {

// Whether it is one of the three names there are.
[[nodiscard]] constexpr bool isLoopbackHost(std::string_view host) {
    constexpr std::array<std::string_view, 3> names{"localhost", "127.0.0.1", "::1"};
    return std::ranges::find(names, host) != names.end();
}

} // namespace tessel
