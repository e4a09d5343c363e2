// The name under which a page's file is offered to be saved. What a server suggests is a name of
// one file and nothing else: no folder, no hidden file, no control characters or marks that turn
// the direction of writing, not longer than file systems take; "download" when nothing is left.
// Pure; any thread.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// That name, made of what a server or a page suggests (any bytes); never empty.
[[nodiscard]] std::string downloadName(std::string_view suggested);

} // namespace platform
