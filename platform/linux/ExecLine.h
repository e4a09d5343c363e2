// The command line of a desktop entry's Exec key, by the desktop entry format 1.5
// (freedesktop.org): how its arguments are quoted, and how a desktop takes them apart. The text is
// the key's value after the escapes that every string in a key file has (\s, \n, \\ ...) were
// resolved. Pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// One argument, quoted whether it needs it or not; a per cent sign is doubled.
[[nodiscard]] std::string quotedForExec(std::string_view argument);

// The arguments, without field codes such as %U; nothing for a line that no desktop would start:
// an open quote, a quote in the middle of a word, an escape of something else than the four
// characters that have one, no argument.
[[nodiscard]] std::optional<std::vector<std::string>> argumentsOfExec(std::string_view line);

} // namespace platform
