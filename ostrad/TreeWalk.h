#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrad {

// Visits the regular files below a folder. Symbolic links are never followed, so the walk neither
// loops nor leaves the folder; hidden names and the system's own folders are passed over. A folder
// that cannot be read is reported and the walk goes on. It ends soon after `stop` becomes true.

struct FileStamp {
    std::int64_t size = 0;
    std::int64_t modified = 0; // seconds since the epoch
    std::int64_t inode = 0;    // tells a replaced file from an untouched one within a second

    bool operator==(const FileStamp&) const = default;
};

struct FoundFile {
    std::string path; // relative, components separated by '/'
    FileStamp stamp;
};

struct WalkOutcome {
    bool stopped = false;
    std::vector<std::string> unreadable; // relative folders; the empty path is the root
};

// `wanted` is asked with a file's relative path before the file is looked at.
WalkOutcome walkTree(const std::string& root, const std::function<bool(std::string_view)>& wanted,
                     const std::function<void(FoundFile)>& found, const std::atomic<bool>& stop);

} // namespace ostrad
