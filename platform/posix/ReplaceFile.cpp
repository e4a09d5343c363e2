#include "platform/posix/ReplaceFile.h"

#include "platform/posix/FlushFile.h"
#include "platform/posix/UniqueFd.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h> // getentropy on macOS
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>

namespace platform::posix {
namespace {

constexpr std::string_view temporaryPrefix = ".new-";
constexpr std::string_view hexDigits = "0123456789abcdef";
constexpr std::size_t randomBytes = 16;

bool isTemporaryName(std::string_view name) {
    return name.starts_with(temporaryPrefix) &&
           name.size() == temporaryPrefix.size() + 2 * randomBytes &&
           name.find_first_not_of(hexDigits, temporaryPrefix.size()) == std::string_view::npos;
}

// Empty when the system gives no random bytes.
std::string temporaryName() {
    std::array<unsigned char, randomBytes> bytes{};
    if (::getentropy(bytes.data(), bytes.size()) != 0) {
        return {};
    }
    std::string name(temporaryPrefix);
    for (const unsigned char byte : bytes) {
        name += hexDigits[byte >> 4U];
        name += hexDigits[byte & 15U];
    }
    return name;
}

int writeAndFlush(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t count = ::write(file, content.data(), content.size());
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        if (count > 0) {
            content.remove_prefix(static_cast<std::size_t>(count));
        }
    }
    return flushFile(file);
}

// Removes the file if its writer is gone: a living one holds the lock.
void removeIfAbandoned(int folder, const char* name) {
    const UniqueFd file(
        ::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (file && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0) {
        ::unlinkat(folder, name, 0);
    }
}

void clearAbandonedFiles(int folder) {
    UniqueFd listed(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto close = [](DIR* open) { ::closedir(open); };
    const std::unique_ptr<DIR, decltype(close)> directory(listed ? ::fdopendir(listed.get())
                                                                 : nullptr);
    if (!directory) {
        return;
    }
    static_cast<void>(listed.release()); // the stream closes it
    // Every call has a directory stream of its own, which makes readdir safe here.
    while (const dirent* entry = ::readdir(directory.get())) { // NOLINT(concurrency-mt-unsafe)
        if (isTemporaryName(entry->d_name)) {
            removeIfAbandoned(folder, entry->d_name);
        }
    }
}

struct Temporary {
    std::string name;
    UniqueFd file;
};

// Somebody who clears away may have come between the making and the locking of the file.
bool lockStillNamed(int file) {
    ::flock(file, LOCK_EX); // a file system without locks has nobody who clears away either
    struct stat status{};
    return ::fstat(file, &status) == 0 && status.st_nlink > 0;
}

std::expected<Temporary, int> makeTemporary(int folder) {
    constexpr mode_t ownerOnly = 0600;
    while (true) {
        Temporary temporary{.name = temporaryName(), .file = {}};
        if (temporary.name.empty()) {
            return std::unexpected(errno);
        }
        temporary.file =
            UniqueFd(::openat(folder, temporary.name.c_str(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, ownerOnly));
        if (!temporary.file && errno != EEXIST) {
            return std::unexpected(errno);
        }
        if (temporary.file && lockStillNamed(temporary.file.get())) {
            return temporary;
        }
    }
}

// 0 or errno. The mode is put right on the descriptor, where the mask has no say.
int fillAndRename(int folder, const Temporary& temporary, std::string_view content,
                  const char* name) {
    if (::fchmod(temporary.file.get(), 0600) != 0) {
        return errno;
    }
    if (const int error = writeAndFlush(temporary.file.get(), content); error != 0) {
        return error;
    }
    return ::renameat(folder, temporary.name.c_str(), folder, name) == 0 ? 0 : errno;
}

} // namespace

std::expected<void, int> replaceFile(const std::filesystem::path& path, std::string_view content) {
    const auto parent = path.has_parent_path() ? path.parent_path() : ".";
    const UniqueFd folder(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        return std::unexpected(errno);
    }
    clearAbandonedFiles(folder.get());
    const auto temporary = makeTemporary(folder.get());
    if (!temporary) {
        return std::unexpected(temporary.error());
    }
    const std::string name = path.filename();
    if (const int error = fillAndRename(folder.get(), *temporary, content, name.c_str());
        error != 0) {
        ::unlinkat(folder.get(), temporary->name.c_str(), 0);
        return std::unexpected(error);
    }
    // The file is in place already: a folder that cannot be flushed only delays its safety.
    (void)flushFile(folder.get());
    return {};
}

} // namespace platform::posix
