#include "platform/posix/PosixDurableFiles.h"

#include "platform/posix/FlushFile.h"
#include "platform/posix/PrivateFolder.h"
#include "platform/posix/ReadFile.h"
#include "platform/posix/UniqueFd.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/core.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace platform {
namespace {

using posix::UniqueFd;

constexpr mode_t ownerOnly = 0600;

FileError failureOf(std::string_view attempt, const std::filesystem::path& path, int errnoValue) {
    return {.attempt = fmt::format("{} {}", attempt, path.native()), .errnoValue = errnoValue};
}

DurableFiles::Result resultOf(int errnoValue, std::string_view attempt,
                              const std::filesystem::path& path) {
    if (errnoValue == 0) {
        return {};
    }
    return std::unexpected(failureOf(attempt, path, errnoValue));
}

// The value of a call that a signal may interrupt.
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

int openUninterrupted(const std::filesystem::path& path, int flags, mode_t mode = 0) {
    return uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC, mode); });
}

int errnoOf(int result) {
    return result == 0 ? 0 : errno;
}

int writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count =
            uninterrupted([&] { return ::write(file, bytes.data(), bytes.size()); });
        if (count < 0) {
            return errno;
        }
        if (count == 0) {
            return EIO; // no file does this; trying for ever would be worse
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return 0;
}

class PosixPrivateFile final : public PrivateFile {
  public:
    PosixPrivateFile(UniqueFd file, std::filesystem::path path)
        : file_(std::move(file))
        , path_(std::move(path)) {}

    [[nodiscard]] DurableFiles::Result writeAll(std::string_view bytes) override {
        return resultOf(platform::writeAll(file_.get(), bytes), "cannot write", path_);
    }
    [[nodiscard]] DurableFiles::Result flush() override {
        if (flushError_ == 0) {
            flushError_ = posix::flushFile(file_.get());
        }
        return resultOf(flushError_, "cannot flush", path_);
    }
    [[nodiscard]] DurableFiles::Result close() override {
        // The descriptor is gone whatever the answer; interrupted or not, it is closed.
        const int error = errnoOf(::close(file_.release()));
        return resultOf(error == EINTR ? 0 : error, "cannot close", path_);
    }

  private:
    UniqueFd file_;
    const std::filesystem::path path_;
    int flushError_ = 0;
};

class PosixFolderLock final : public FolderLock {
  public:
    explicit PosixFolderLock(UniqueFd folder)
        : folder_(std::move(folder)) {}
    PosixFolderLock(const PosixFolderLock&) = delete;
    PosixFolderLock& operator=(const PosixFolderLock&) = delete;
    // Closing alone would not do: a process that another thread is starting at this moment may
    // have a copy of the descriptor.
    ~PosixFolderLock() override { ::flock(folder_.get(), LOCK_UN); }

  private:
    UniqueFd folder_;
};

bool isRegularFile(int folder, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) {
        return entry.d_type == DT_REG;
    }
    struct stat status{};
    return ::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISREG(status.st_mode);
}

// 0 or errno; only this call knows the directory stream, which makes readdir safe here.
int listRegularFiles(DIR* folder, std::vector<std::string>& names) {
    while (true) {
        errno = 0;
        const dirent* entry = ::readdir(folder); // NOLINT(concurrency-mt-unsafe)
        if (entry == nullptr) {
            return errno;
        }
        if (isRegularFile(::dirfd(folder), *entry)) {
            names.emplace_back(entry->d_name);
        }
    }
}

} // namespace

DurableFiles::Result PosixDurableFiles::ensurePrivateFolder(const std::filesystem::path& folder) {
    return resultOf(posix::ensurePrivateFolder(folder), "cannot make the private folder", folder);
}

std::expected<std::unique_ptr<PrivateFile>, FileError>
PosixDurableFiles::createPrivateFile(const std::filesystem::path& path) {
    constexpr std::string_view attempt = "cannot create the file";
    UniqueFd file(openUninterrupted(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, ownerOnly));
    if (!file) {
        return std::unexpected(failureOf(attempt, path, errno));
    }
    // The file-creation mask may have taken bits away.
    if (uninterrupted([&] { return ::fchmod(file.get(), ownerOnly); }) != 0) {
        const int error = errno;
        ::unlink(path.c_str());
        return std::unexpected(failureOf(attempt, path, error));
    }
    return std::make_unique<PosixPrivateFile>(std::move(file), path);
}

DurableFiles::Result PosixDurableFiles::rename(const std::filesystem::path& from,
                                               const std::filesystem::path& to) {
    return resultOf(errnoOf(::rename(from.c_str(), to.c_str())), "cannot rename to", to);
}

DurableFiles::Result PosixDurableFiles::makePrivate(const std::filesystem::path& file) {
    return resultOf(errnoOf(uninterrupted([&] { return ::chmod(file.c_str(), ownerOnly); })),
                    "cannot set the permissions of", file);
}

DurableFiles::Result PosixDurableFiles::remove(const std::filesystem::path& file) {
    return resultOf(errnoOf(::unlink(file.c_str())), "cannot remove", file);
}

std::expected<void, FolderFlushError>
PosixDurableFiles::flushFolder(const std::filesystem::path& folder) {
    using Stage = FolderFlushError::Stage;
    const UniqueFd open(openUninterrupted(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
    if (!open) {
        return std::unexpected(FolderFlushError{
            .stage = Stage::open, .error = failureOf("cannot open the folder", folder, errno)});
    }
    if (const int error = posix::flushFile(open.get()); error != 0) {
        return std::unexpected(FolderFlushError{
            .stage = Stage::flush, .error = failureOf("cannot flush the folder", folder, error)});
    }
    return {};
}

std::expected<std::vector<std::string>, FileError>
PosixDurableFiles::fileNames(const std::filesystem::path& folder) const {
    constexpr std::string_view attempt = "cannot list the folder";
    UniqueFd file(openUninterrupted(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
    const auto close = [](DIR* open) { ::closedir(open); };
    const std::unique_ptr<DIR, decltype(close)> open(file ? ::fdopendir(file.get()) : nullptr);
    if (!open) {
        return std::unexpected(failureOf(attempt, folder, errno));
    }
    static_cast<void>(file.release());
    std::vector<std::string> names;
    if (const int error = listRegularFiles(open.get(), names); error != 0) {
        return std::unexpected(failureOf(attempt, folder, error));
    }
    std::ranges::sort(names);
    return names;
}

std::expected<std::string, FileError> PosixDurableFiles::read(const std::filesystem::path& file,
                                                              std::size_t maxBytes) const {
    auto content = posix::readFile(file, maxBytes, posix::Links::refuse);
    if (!content) {
        return std::unexpected(failureOf("cannot read", file, content.error()));
    }
    return *std::move(content);
}

std::expected<std::unique_ptr<FolderLock>, FileError>
PosixDurableFiles::lockFolder(const std::filesystem::path& folder) {
    UniqueFd open(openUninterrupted(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
    if (!open || uninterrupted([&] { return ::flock(open.get(), LOCK_EX); }) != 0) {
        return std::unexpected(failureOf("cannot lock the folder", folder, errno));
    }
    return std::make_unique<PosixFolderLock>(std::move(open));
}

} // namespace platform
