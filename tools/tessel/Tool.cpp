#include "tools/tessel/Tool.h"

#include "tools/tessel/Output.h"

namespace tool {

void Tool::fail(std::string_view message) {
    say(message);
    status = 1;
}

void Tool::refuse(std::string_view message) {
    fail(message);
    status = 2;
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
