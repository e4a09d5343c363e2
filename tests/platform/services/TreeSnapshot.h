// Everything that a copy of a folder has to keep, as text that can be compared: the kind of each
// entry, permissions, modification time, content, and where links point.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace test_support {

using TreeSnapshot = std::map<std::string, std::string>;

inline std::string describeEntry(const std::filesystem::path& path) {
    struct stat status{};
    if (::lstat(path.c_str(), &status) != 0) {
        return "absent";
    }
    std::string text = std::to_string(status.st_mtime);
    if (S_ISLNK(status.st_mode)) {
        return text + " link to " + std::filesystem::read_symlink(path).string();
    }
    text += " mode " + std::to_string(status.st_mode);
    if (S_ISREG(status.st_mode)) {
        std::ifstream file(path, std::ios::binary);
        text += " content " + std::string(std::istreambuf_iterator<char>(file), {});
    }
    return text;
}

inline TreeSnapshot snapshotOf(const std::filesystem::path& root) {
    TreeSnapshot snapshot{{".", describeEntry(root)}};
    std::error_code failed;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root, failed)) {
        snapshot[entry.path().lexically_relative(root).string()] = describeEntry(entry.path());
    }
    return snapshot;
}

} // namespace test_support
