#include "platform/posix/PosixPrivateFiles.h"

#include "platform/posix/CopyTree.h"
#include "platform/posix/FlushFile.h"
#include "platform/posix/ReadFile.h"
#include "platform/posix/ReplaceFile.h"
#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace platform {
namespace {

std::unexpected<FileError> failure(std::string_view attempt, const std::filesystem::path& path,
                                   int errnoValue) {
    return std::unexpected(FileError{.attempt = fmt::format("{} {}", attempt, path.native()),
                                     .errnoValue = errnoValue});
}

bool isWhole(const std::filesystem::path& path) {
    return !path.native().contains('\0');
}

// 0 or errno.
int takeName(const std::filesystem::path& path, bool forFolder) {
    if (forFolder) {
        return ::mkdir(path.c_str(), 0700) == 0 ? 0 : errno;
    }
    const posix::UniqueFd file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    return file ? 0 : errno;
}

std::filesystem::path folderOf(const std::filesystem::path& path) {
    return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

// A hidden folder for a copy that is being made, gone with everything in it at the end.
class WorkFolder {
  public:
    explicit WorkFolder(const std::filesystem::path& parent)
        : path_((parent / ".moving-XXXXXX").native()) {
        isThere_ = ::mkdtemp(path_.data()) != nullptr;
    }
    ~WorkFolder() {
        if (isThere_) {
            posix::removeTree(path_);
        }
    }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    [[nodiscard]] bool isThere() const { return isThere_; }
    [[nodiscard]] std::filesystem::path path() const { return path_; }

  private:
    std::string path_;
    bool isThere_ = false;
};

void flushFolder(const std::filesystem::path& path) {
    if (const posix::UniqueFd folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        folder) {
        static_cast<void>(posix::flushFile(folder.get()));
    }
}

// To a name that is taken already by what takeName() made; `isPlaced` says whether the copy is
// there. What cannot be removed afterwards is found out before anything is copied, as far as
// permissions tell.
std::expected<void, FileError> moveToOtherVolume(const std::filesystem::path& from,
                                                 const std::filesystem::path& to, bool& isPlaced) {
    const auto attempt = fmt::format("cannot move {} to {}", from.native(), to.native());
    const auto failed = [&attempt](int error) {
        return std::unexpected(FileError{.attempt = attempt, .errnoValue = error});
    };
    if (::access(folderOf(from).c_str(), W_OK | X_OK) != 0) {
        return failed(errno);
    }
    const WorkFolder work(folderOf(to));
    if (!work.isThere()) {
        return failed(errno);
    }
    if (auto copied = posix::copyEntryInto(from, work.path()); !copied) {
        return copied;
    }
    if (::rename((work.path() / from.filename()).c_str(), to.c_str()) != 0) {
        return failed(errno);
    }
    isPlaced = true;
    flushFolder(folderOf(to));
    if (const int error = posix::removeTree(from); error != 0) {
        return std::unexpected(
            FileError{.attempt = fmt::format("{} was copied to {}, but cannot be removed",
                                             from.native(), to.native()),
                      .errnoValue = error});
    }
    return {};
}

std::expected<void, FileError> moveToFreeName(const std::filesystem::path& from,
                                              const std::filesystem::path& to) {
    const auto failed = [&](int error) {
        return failure(fmt::format("cannot move {} to", from.native()), to, error);
    };
    struct stat status{};
    if (!isWhole(from) || !isWhole(to)) {
        return failed(EINVAL);
    }
    if (::lstat(from.c_str(), &status) != 0) {
        return failed(errno);
    }
    const bool folder = S_ISDIR(status.st_mode);
    if (const int error = takeName(to, folder); error != 0) {
        return failed(error);
    }
    if (::rename(from.c_str(), to.c_str()) == 0) {
        return {};
    }
    const int error = errno;
    bool isPlaced = false;
    std::expected<void, FileError> moved = failed(error);
    if (error == EXDEV) {
        moved = moveToOtherVolume(from, to, isPlaced);
    }
    if (!isPlaced) {
        static_cast<void>(folder ? ::rmdir(to.c_str()) : ::unlink(to.c_str()));
    }
    return moved;
}

} // namespace

bool PosixPrivateFiles::exists(const std::filesystem::path& path) const {
    struct stat status{};
    return isWhole(path) && ::lstat(path.c_str(), &status) == 0;
}

std::expected<std::string, FileError> PosixPrivateFiles::read(const std::filesystem::path& path,
                                                              std::size_t maxBytes) const {
    auto content = isWhole(path) ? posix::readFile(path, maxBytes) : std::unexpected(EINVAL);
    if (!content) {
        return failure("cannot read the file", path, content.error());
    }
    return *std::move(content);
}

std::expected<void, FileError> PosixPrivateFiles::replace(const std::filesystem::path& path,
                                                          std::string_view content) {
    const auto replaced =
        isWhole(path) ? posix::replaceFile(path, content) : std::unexpected(EINVAL);
    if (!replaced) {
        return failure("cannot write the file", path, replaced.error());
    }
    return {};
}

std::expected<void, FileError> PosixPrivateFiles::remove(const std::filesystem::path& path) {
    if (!isWhole(path)) {
        return failure("cannot remove the file", path, EINVAL);
    }
    if (::unlink(path.c_str()) != 0) {
        return failure("cannot remove the file", path, errno);
    }
    return {};
}

std::expected<void, FileError> PosixPrivateFiles::move(const std::filesystem::path& from,
                                                       const std::filesystem::path& to) {
    return moveToFreeName(from, to);
}

} // namespace platform
