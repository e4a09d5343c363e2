#include "platform/Environment.h"

#include <unistd.h>

#include <string_view>

extern char** environ; // NOLINT: POSIX leaves the declaration to the program

namespace platform {

Environment currentEnvironment() {
    Environment result;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const auto equals = text.find('=');
        // No program can be started with a variable that has no name.
        if (equals != std::string_view::npos && equals > 0) {
            result.emplace(text.substr(0, equals), text.substr(equals + 1));
        }
    }
    return result;
}

} // namespace platform
