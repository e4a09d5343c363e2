#include "platform/posix/FolderEntries.h"

#include "platform/posix/UniqueFd.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <string_view>

namespace platform::posix {
namespace {

std::expected<std::vector<std::string>, int> entriesOf(UniqueFd own) {
    if (!own) {
        return std::unexpected(errno);
    }
    const auto close = [](DIR* open) { ::closedir(open); };
    const std::unique_ptr<DIR, decltype(close)> directory(::fdopendir(own.get()));
    if (!directory) {
        return std::unexpected(errno);
    }
    (void)own.release(); // the stream's from now on
    std::vector<std::string> names;
    while (true) {
        errno = 0;
        // Every call has a directory stream of its own, which makes readdir safe here.
        const dirent* entry = ::readdir(directory.get()); // NOLINT(concurrency-mt-unsafe)
        if (entry == nullptr) {
            break;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
    if (errno != 0) {
        return std::unexpected(errno);
    }
    return names;
}

} // namespace

std::expected<std::vector<std::string>, int> folderEntries(int folder) {
    return entriesOf(UniqueFd(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

std::expected<std::vector<std::string>, int> folderEntries(const std::filesystem::path& folder) {
    return entriesOf(UniqueFd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

} // namespace platform::posix
