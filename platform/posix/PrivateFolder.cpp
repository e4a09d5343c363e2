#include "platform/posix/PrivateFolder.h"

#include "platform/posix/FlushFile.h"
#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

namespace platform::posix {
namespace {

constexpr mode_t ownerOnly = 0700;
constexpr mode_t allModeBits = 07777;

// "link/" and "link/." would lead through a symbolic link.
std::filesystem::path withoutTrailingSlashes(const std::filesystem::path& path) {
    std::string text = path.native();
    while (text.size() > 1 && (text.ends_with('/') || text.ends_with("/."))) {
        text.pop_back();
    }
    return text;
}

std::filesystem::path folderAbove(const std::filesystem::path& path) {
    const auto above = path.parent_path();
    return above.empty() ? std::filesystem::path(".") : above;
}

void flushEntry(const std::filesystem::path& folder) {
    const UniqueFd above(::open(folderAbove(folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (above) {
        static_cast<void>(flushFile(above.get()));
    }
}

// mkdir(2) with the missing folders above; EEXIST when something carries the name. The mask of the
// process may take bits from the new ones, so each is put right before the next is made in it.
int makeFolders(const std::filesystem::path& folder) {
    int error = ::mkdir(folder.c_str(), ownerOnly) == 0 ? 0 : errno;
    if (error == ENOENT && folder.has_parent_path() && folder.parent_path() != folder) {
        const int above = makeFolders(withoutTrailingSlashes(folder.parent_path()));
        if (above != 0 && above != EEXIST) {
            return above;
        }
        error = ::mkdir(folder.c_str(), ownerOnly) == 0 ? 0 : errno;
    }
    if (error != 0) {
        return error;
    }
    struct stat status{};
    if (::lstat(folder.c_str(), &status) != 0) {
        return errno;
    }
    if ((status.st_mode & ownerOnly) != ownerOnly && ::chmod(folder.c_str(), ownerOnly) != 0) {
        return errno;
    }
    flushEntry(folder);
    return 0;
}

} // namespace

int ensurePrivateFolder(const std::filesystem::path& path) {
    const auto folder = withoutTrailingSlashes(path);
    // Mostly it is there: asking costs less than trying to make it.
    struct stat status{};
    if (::lstat(folder.c_str(), &status) != 0) {
        if (errno != ENOENT) {
            return errno;
        }
        const int made = makeFolders(folder);
        if (made != 0 && made != EEXIST) {
            return made;
        }
        if (::lstat(folder.c_str(), &status) != 0) {
            return errno;
        }
    }
    if (!S_ISDIR(status.st_mode)) {
        return ENOTDIR;
    }
    if ((status.st_mode & allModeBits) == ownerOnly) {
        return 0;
    }
    return ::chmod(folder.c_str(), ownerOnly) == 0 ? 0 : errno;
}

} // namespace platform::posix
