#include "ostrad/Log.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace ostrad {

void logLine(std::string_view message) {
    std::string line = "ostrad: ";
    line += message;
    std::ranges::replace_if(
        line, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
    line += '\n';
    static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr));
}

} // namespace ostrad
