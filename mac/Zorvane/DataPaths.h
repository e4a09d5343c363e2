// The names of this application's private data below the Application Support folder.
#pragma once

#include <string_view>

namespace zorvane {

inline constexpr std::string_view dataFolderName = "app.zorvane";

} // namespace zorvane
