#include "platform/ErrnoText.h"

#include <fmt/core.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace platform {
namespace {

// strerror_r comes in two shapes: POSIX's returns a number and fills the buffer, the GNU one
// returns the text. Overloading picks the right reading of either.
[[maybe_unused]] const char* textOf(int result, const char* buffer) {
    return result == 0 || result == ERANGE ? buffer : "";
}

[[maybe_unused]] const char* textOf(const char* result, const char* /*buffer*/) {
    return result;
}

} // namespace

std::string errnoText(int errnoValue) {
    std::array<char, 256> buffer{};
    const std::string text =
        textOf(::strerror_r(errnoValue, buffer.data(), buffer.size()), buffer.data());
    return text.empty() ? fmt::format("Unknown error {}", errnoValue) : text;
}

} // namespace platform
