// Where applications live on this system. Paths are absolute, free of symbolic links as far as
// they exist, and without a final slash, so that they compare with the path of a running bundle.
// A value; made once at the start.
#pragma once

#include <filesystem>
#include <vector>

namespace platform {

struct ApplicationFolders {
    std::filesystem::path system; // for every user of the machine
    std::filesystem::path user;   // in the home folder; need not exist
    // What a package manager looks after: an application below one of these is installed too.
    std::vector<std::filesystem::path> packagePrefixes = {};
};

} // namespace platform
