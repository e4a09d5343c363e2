// Small things that several suites here need: a file-creation mask for a while, file contents
// and modes in one call.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>

class ScopedMask {
  public:
    explicit ScopedMask(mode_t mask)
        : before(::umask(mask)) {}
    ScopedMask(const ScopedMask&) = delete;
    ScopedMask& operator=(const ScopedMask&) = delete;
    ~ScopedMask() { ::umask(before); }

  private:
    mode_t before;
};

inline void writeText(const std::filesystem::path& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string readText(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Permission bits, 07777, of the thing itself; a link is not followed.
inline mode_t modeOf(const std::filesystem::path& path) {
    struct stat status{};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : mode_t{0};
}

inline std::set<std::string> namesIn(const std::filesystem::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.insert(entry.path().filename());
    }
    return names;
}
