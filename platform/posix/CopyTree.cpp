#include "platform/posix/CopyTree.h"

#include "platform/posix/FlushFile.h"
#include "platform/posix/FolderEntries.h"
#include "platform/posix/SystemCopy.h"
#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <climits>
#include <string>

namespace platform::posix {
namespace {

constexpr int openFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr mode_t keptBits = 01777; // a set-user-id bit would be one for another user

// 0 or errno; what was tried is the caller's to say.
int finish(int copy, const struct stat& original) {
    const std::array times = {timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                              modificationTime(original)};
    const bool described =
        ::fchmod(copy, original.st_mode & keptBits) == 0 && ::futimens(copy, times.data()) == 0;
    return described ? flushFile(copy) : errno;
}

class Copier {
  public:
    // Where both sides are while an entry is copied, for the description of a failure.
    struct Place {
        int from;
        int to;
        const std::filesystem::path& path;
    };

    std::expected<void, FileError> copyContentOf(const Place& folder) {
        struct stat status{};
        if (::fstat(folder.from, &status) != 0) {
            return failed(folder.path, errno);
        }
        const auto names = folderEntries(folder.from);
        if (!names) {
            return failed(folder.path, names.error());
        }
        for (const std::string& name : *names) {
            if (auto copied = copyEntry(folder, name); !copied) {
                return copied;
            }
        }
        const int error = finish(folder.to, status);
        return error == 0 ? std::expected<void, FileError>() : failed(folder.path, error);
    }

    static std::unexpected<FileError> failed(const std::filesystem::path& path, int error) {
        return std::unexpected(
            FileError{.attempt = "cannot copy " + path.native(), .errnoValue = error});
    }

    std::expected<void, FileError> copyEntry(const Place& folder, const std::string& name) {
        const std::filesystem::path path = folder.path / name;
        struct stat status{};
        if (::fstatat(folder.from, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
            return failed(path, errno);
        }
        if (S_ISDIR(status.st_mode)) {
            return copyFolder(folder, name, path);
        }
        int error = ENOTSUP;
        if (S_ISLNK(status.st_mode)) {
            error = copyLink(folder, name, status);
        } else if (S_ISREG(status.st_mode)) {
            error = copyFile(folder, name);
        }
        return error == 0 ? std::expected<void, FileError>() : failed(path, error);
    }

  private:
    std::expected<void, FileError> copyFolder(const Place& above, const std::string& name,
                                              const std::filesystem::path& path) {
        const UniqueFd from(::openat(above.from, name.c_str(), openFolder));
        if (!from || ::mkdirat(above.to, name.c_str(), S_IRWXU) != 0) {
            return failed(path, errno);
        }
        const UniqueFd to(::openat(above.to, name.c_str(), openFolder));
        if (!to) {
            return failed(path, errno);
        }
        return copyContentOf({.from = from.get(), .to = to.get(), .path = path});
    }

    static int copyLink(const Place& folder, const std::string& name, const struct stat& status) {
        std::string target(PATH_MAX, '\0');
        const ssize_t size =
            ::readlinkat(folder.from, name.c_str(), target.data(), target.size() - 1);
        if (size < 0) {
            return errno;
        }
        target.resize(static_cast<std::size_t>(size));
        if (::symlinkat(target.c_str(), folder.to, name.c_str()) != 0) {
            return errno;
        }
        const std::array times = {timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                                  modificationTime(status)};
        return ::utimensat(folder.to, name.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) == 0 ? 0
                                                                                            : errno;
    }

    static int copyFile(const Place& folder, const std::string& name) {
        constexpr int reading = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
        const UniqueFd from(::openat(folder.from, name.c_str(), reading));
        struct stat status{};
        if (!from || ::fstat(from.get(), &status) != 0) {
            return errno;
        }
        if (!S_ISREG(status.st_mode)) {
            return ENOTSUP; // no longer the file that it was a moment ago
        }
        const UniqueFd to(::openat(folder.to, name.c_str(),
                                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                   S_IRUSR | S_IWUSR));
        if (!to) {
            return errno;
        }
        const int error = copyContent(from.get(), to.get());
        return error == 0 ? finish(to.get(), status) : error;
    }
};

// The first errno value, or 0.
int removeEntry(int folder, const char* name);

int removeContentOf(int folder) {
    ::fchmod(folder, S_IRWXU);
    const auto names = folderEntries(folder);
    if (!names) {
        return names.error();
    }
    int error = 0;
    for (const std::string& name : *names) {
        const int failure = removeEntry(folder, name.c_str());
        error = error == 0 ? failure : error;
    }
    return error;
}

// A folder that may not be read cannot be opened before its permissions are changed by name.
UniqueFd openForRemoval(int folder, const char* name) {
    UniqueFd open(::openat(folder, name, openFolder));
    if (!open && errno == EACCES) {
        struct stat status{};
        if (::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode) &&
            ::fchmodat(folder, name, S_IRWXU, 0) == 0) {
            open.reset(::openat(folder, name, openFolder));
        }
    }
    return open;
}

int removeEntry(int folder, const char* name) {
    if (::unlinkat(folder, name, 0) == 0 || errno == ENOENT) {
        return 0;
    }
    int error = errno; // EISDIR, or EPERM on macOS, for a folder
    if (const UniqueFd open = openForRemoval(folder, name)) {
        error = removeContentOf(open.get());
        if (::unlinkat(folder, name, AT_REMOVEDIR) == 0 || errno == ENOENT) {
            return 0;
        }
        error = error == 0 ? errno : error;
    }
    return error;
}

} // namespace

std::expected<void, FileError> copyTreeInto(const std::filesystem::path& source,
                                            const std::filesystem::path& folder) {
    const UniqueFd from(::open(source.c_str(), openFolder));
    if (!from) {
        return Copier::failed(source, errno);
    }
    const UniqueFd to(::open(folder.c_str(), openFolder));
    if (!to) {
        return Copier::failed(source, errno);
    }
    return Copier().copyContentOf({.from = from.get(), .to = to.get(), .path = source});
}

std::expected<void, FileError> copyEntryInto(const std::filesystem::path& source,
                                             const std::filesystem::path& folder) {
    const auto above = source.has_parent_path() ? source.parent_path() : ".";
    const UniqueFd from(::open(above.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!from) {
        return Copier::failed(source, errno);
    }
    const UniqueFd to(::open(folder.c_str(), openFolder));
    if (!to) {
        return Copier::failed(source, errno);
    }
    return Copier().copyEntry({.from = from.get(), .to = to.get(), .path = above},
                              source.filename());
}

int removeTree(const std::filesystem::path& path) {
    return removeEntry(AT_FDCWD, path.c_str());
}

} // namespace platform::posix
