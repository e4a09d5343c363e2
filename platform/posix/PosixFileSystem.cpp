#include "platform/posix/PosixFileSystem.h"

#include "platform/posix/FolderEntries.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>

namespace platform {
namespace {

std::unexpected<FileError> failure(std::string_view attempt, const std::filesystem::path& path,
                                   int errnoValue) {
    return std::unexpected(FileError{.attempt = fmt::format("{} {}", attempt, path.native()),
                                     .errnoValue = errnoValue});
}

constexpr std::string_view creating = "cannot create the folder";

bool isFolder(const std::filesystem::path& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// mkdir leaves out the bits of the file-creation mask; they are put back without following a
// link that somebody may have put in the new folder's place. Without a mode the mask decides.
int makeFolder(const std::filesystem::path& folder, std::optional<mode_t> wantedMode) {
    const mode_t mode = wantedMode.value_or(0777);
    if (::mkdir(folder.c_str(), mode) != 0) {
        return errno;
    }
    if (!wantedMode) {
        return 0;
    }
    struct stat status{};
    if (::lstat(folder.c_str(), &status) != 0) {
        return errno;
    }
    if (!S_ISDIR(status.st_mode) || (status.st_mode & mode) == mode) {
        return 0;
    }
    const mode_t wanted = (status.st_mode & mode_t{S_ISGID}) | mode;
    return ::fchmodat(AT_FDCWD, folder.c_str(), wanted, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

// errno, or 0 when the folder is there.
int ensureFolder(const std::filesystem::path& folder, std::optional<mode_t> mode) {
    const int error = makeFolder(folder, mode);
    if (error == 0 || isFolder(folder)) {
        return 0;
    }
    return error == EEXIST ? ENOTDIR : error;
}

std::filesystem::path withoutTrailingSlashes(const std::filesystem::path& path) {
    std::string text = path.native();
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    return text;
}

std::expected<void, FileError> ensureFolders(const std::filesystem::path& path,
                                             std::optional<mode_t> mode) {
    const int error = ensureFolder(path, mode);
    if (error == 0) {
        return {};
    }
    const auto above = path.parent_path();
    if (error != ENOENT || above.empty() || above == path) {
        return failure(creating, path, error);
    }
    if (auto made = ensureFolders(withoutTrailingSlashes(above), mode); !made) {
        return made;
    }
    if (const int again = ensureFolder(path, mode); again != 0) {
        return failure(creating, path, again);
    }
    return {};
}

} // namespace

PosixFileSystem::PosixFileSystem(std::filesystem::path supportFolder)
    : supportFolder_(std::move(supportFolder)) {}

bool PosixFileSystem::fileExists(const std::filesystem::path& path) const {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0;
}

std::expected<std::vector<std::string>, FileError>
PosixFileSystem::fileNames(const std::filesystem::path& folder) const {
    auto names = posix::folderEntries(folder);
    if (!names) {
        return failure("cannot list the folder", folder, names.error());
    }
    return *std::move(names);
}

std::expected<std::filesystem::path, FileError>
PosixFileSystem::applicationSupportFolder(bool create) {
    if (create) {
        if (const auto made = createFolders(supportFolder_, 0700); !made) {
            return std::unexpected(made.error());
        }
    }
    return supportFolder_;
}

std::filesystem::path PosixFileSystem::currentFolder() const {
    std::error_code failed;
    auto folder = std::filesystem::current_path(failed);
    return failed ? std::filesystem::path() : folder;
}

std::expected<void, FileError> PosixFileSystem::createFolders(const std::filesystem::path& folder,
                                                              mode_t mode) {
    return ensureFolders(withoutTrailingSlashes(folder), mode);
}

std::expected<void, FileError> PosixFileSystem::createFolders(const std::filesystem::path& folder) {
    return ensureFolders(withoutTrailingSlashes(folder), std::nullopt);
}

std::expected<void, FileError> PosixFileSystem::setPermissions(const std::filesystem::path& path,
                                                               mode_t mode) {
    if (::chmod(path.c_str(), mode) != 0) {
        return failure("cannot set the permissions of", path, errno);
    }
    return {};
}

mode_t PosixFileSystem::exchangeFileCreationMask(mode_t mask) {
    return ::umask(mask);
}

} // namespace platform
