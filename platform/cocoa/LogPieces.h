// Lines for a log that cuts what is longer than it stores. Each line is made harmless
// (platform/posix/LogLine.h: one line, well-formed UTF-8, no control characters) and divided into
// pieces that fit; a character is never divided. Pure; any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace platform::cocoa {

// At least one piece; each is at most `longest` bytes, which is 4 or more. All together they are
// the escaped prefix and line.
[[nodiscard]] std::vector<std::string> logPieces(std::string_view prefix, std::string_view line,
                                                 std::size_t longest);

} // namespace platform::cocoa
