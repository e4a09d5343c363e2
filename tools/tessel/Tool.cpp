#include "tools/tessel/Tool.h"

#include <fmt/format.h>

#include <cstdio>

namespace tool {

void Tool::fail(std::string_view message) {
    fmt::print(stderr, "tessel: {}\n", message);
    status = 1;
}

std::string examples(std::initializer_list<std::string_view> lines) {
    std::string text = "Examples:\n";
    for (const std::string_view line : lines) {
        text += fmt::format("  {}\n", line);
    }
    text.pop_back();
    return text;
}

} // namespace tool
