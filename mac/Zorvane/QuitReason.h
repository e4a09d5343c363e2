// Tells a quit that the system asked for (log out, restart, shut down) from one that a person
// asked for. Pure functions; any thread.
#pragma once

#include "platform/Application.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace zorvane {

// A four-character code as Apple events spell them: the bytes of the text folded from the first to
// the last, so that the first of four ends up in the top 8 bits. An empty text gives 0.
[[nodiscard]] constexpr std::uint32_t fourCC(std::string_view code) {
    std::uint32_t value = 0;
    for (const char character : code) {
        value = (value << 8U) | static_cast<unsigned char>(character);
    }
    return value;
}

// Whether the event is a quit event whose "why?" attribute names a log out, restart or shut down,
// with or without asking.
[[nodiscard]] bool quitReasonIsSystem(const std::optional<platform::SystemEvent>& event);

} // namespace zorvane
