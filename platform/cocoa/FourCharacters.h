// The four-character codes of Apple events as the system's headers write them: the first letter is
// the highest byte.
#pragma once

#include "platform/cocoa/RequireArc.h"

#include <cstdint>

namespace platform::cocoa {

constexpr std::uint32_t fourCharacters(const char (&code)[5]) {
    std::uint32_t value = 0;
    for (int index = 0; index < 4; ++index) {
        value = (value << 8) | static_cast<unsigned char>(code[index]);
    }
    return value;
}

} // namespace platform::cocoa
