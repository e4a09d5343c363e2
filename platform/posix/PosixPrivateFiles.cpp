#include "platform/posix/PosixPrivateFiles.h"

#include "platform/posix/ReadFile.h"
#include "platform/posix/ReplaceFile.h"
#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

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

int renameToFreeName(const std::filesystem::path& from, const std::filesystem::path& to) {
    struct stat status{};
    if (!isWhole(from) || !isWhole(to)) {
        return EINVAL;
    }
    if (::lstat(from.c_str(), &status) != 0) {
        return errno;
    }
    const bool folder = S_ISDIR(status.st_mode);
    if (const int error = takeName(to, folder); error != 0) {
        return error;
    }
    if (::rename(from.c_str(), to.c_str()) == 0) {
        return 0;
    }
    const int error = errno;
    static_cast<void>(folder ? ::rmdir(to.c_str()) : ::unlink(to.c_str()));
    return error;
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
    if (const int error = renameToFreeName(from, to); error != 0) {
        return failure(fmt::format("cannot move {} to", from.native()), to, error);
    }
    return {};
}

} // namespace platform
