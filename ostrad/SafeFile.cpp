#include "ostrad/SafeFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

namespace ostrad {

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// Without O_NONBLOCK the open of a pipe somebody put there would wait for a writer.
constexpr int kFileFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

bool isPlainName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find('\0') == std::string_view::npos;
}

UniqueFd descend(UniqueFd from, std::string_view path, int lastFlags) {
    while (from && !path.empty()) {
        const std::size_t slash = std::min(path.find('/'), path.size());
        const std::string name(path.substr(0, slash));
        const bool isLast = slash == path.size();
        path.remove_prefix(isLast ? slash : slash + 1);
        if (!isPlainName(name) || (!isLast && path.empty())) {
            return {};
        }
        from = UniqueFd(::openat(from.get(), name.c_str(), isLast ? lastFlags : kFolderFlags));
    }
    return from;
}

} // namespace

UniqueFd openFileBeneath(const std::string& folder, std::string_view path) {
    if (path.empty()) {
        return {};
    }
    UniqueFd file = descend(UniqueFd(::open(folder.c_str(), kFolderFlags)), path, kFileFlags);
    struct stat status{};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {};
    }
    return file;
}

UniqueFd openFolderBeneath(const std::string& folder, std::string_view path) {
    return descend(UniqueFd(::open(folder.c_str(), kFolderFlags)), path, kFolderFlags);
}

} // namespace ostrad
