#pragma once

#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrad {

// Folders of this computer as a person names them: checks the one they chose for a library and
// lists what they may choose from. A refusal is one sentence, fit to be shown next to the field.

// The canonical path of an existing, readable folder that may become a library.
std::expected<std::string, std::string> resolveFolder(std::string_view path);

struct FolderListing {
    std::string path;
    std::optional<std::string> parent; // none at the root
    std::vector<std::string> names;    // visible sub-folders in natural order, UTF-8 names only
};

// The empty path is the user's home.
std::expected<FolderListing, std::string> listFolders(std::string_view path);

// The last component: what a library is called unless it is given a name.
std::string folderName(std::string_view path);

} // namespace ostrad
