// Where the system's symbols would be on a system that has none of its own: the application
// brings them, one drawing a symbol, as NAME-symbolic.svg in its bundle's Resources. The ending is
// the one by which hosts and toolkits know a drawing that takes the colour of the text around it
// (freedesktop.org icon naming and its common practice). Any thread.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace platform::tray {

// The name under which the folder's file is found when the folder is searched as an icon theme.
[[nodiscard]] std::string symbolIconName(std::string_view symbol);

// Nothing when there is no such regular file, and for what is no plain file name.
[[nodiscard]] std::optional<std::filesystem::path> symbolFile(const std::filesystem::path& folder,
                                                              std::string_view symbol);

} // namespace platform::tray
