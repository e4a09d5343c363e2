// What this process finds itself to be, a line each on standard output.
#pragma once

#include <span>
#include <string_view>

namespace testchild {

// False when there is no report of that name.
[[nodiscard]] bool report(std::string_view name, std::span<char*> arguments);

} // namespace testchild
