// Random universally unique identifiers (RFC 9562, version 4) in upper-case hexadecimal digits with
// dashes, 36 characters. Any thread.
#pragma once

#include "platform/RandomSource.h"

#include <optional>
#include <string>
#include <string_view>

namespace tessel {

// Absent when the generator fails.
[[nodiscard]] std::optional<std::string> randomUuid(platform::RandomSource& random);

// Whether the text is one that randomUuid() may have returned.
[[nodiscard]] bool isRandomUuid(std::string_view text);

} // namespace tessel
