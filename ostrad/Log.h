#pragma once

#include <string_view>

namespace ostrad {

// One line on standard error, "ostrad: " and the message; control characters of the message become
// '?', so a file name can never forge a second line. Any thread.
void logLine(std::string_view message);

} // namespace ostrad
