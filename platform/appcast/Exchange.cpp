#include "platform/appcast/Exchange.h"

#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <optional>

namespace platform::appcast {
namespace {

namespace fs = std::filesystem;

void flushFolder(const fs::path& folder) {
    const posix::UniqueFd descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor) {
        ::fsync(descriptor.get());
    }
}

bool isMissing(const fs::path& path) {
    struct stat status{};
    return ::lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

std::optional<ino_t> inodeOf(const fs::path& path) {
    struct stat status{};
    return ::lstat(path.c_str(), &status) == 0 ? std::optional(status.st_ino) : std::nullopt;
}

// Between fork and exit: nothing but async-signal-safe calls. 0 or an errno value.
int renameInTurn(const char* staged, const char* target, const char* aside) noexcept {
    if (::rename(target, aside) != 0) {
        return errno;
    }
    if (::rename(staged, target) != 0) {
        const int error = errno;
        ::rename(aside, target);
        return error;
    }
    if (::rename(aside, staged) != 0) {
        const int error = errno;
        ::rename(target, staged);
        ::rename(aside, target);
        return error;
    }
    return 0;
}

// The same in a child, in a session that nothing ends together with this process. An errno value
// says that nothing was changed, EINTR that the child was killed at some point.
int renameInChild(const fs::path& staged, const fs::path& target, const fs::path& aside) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t child = ::fork();
    if (child == 0) {
        ::setsid();
        ::_exit(renameInTurn(staged.c_str(), target.c_str(), aside.c_str()));
    }
    const int error = errno;
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (child < 0) {
        return error;
    }
    int status = 0;
    pid_t ended = 0;
    do {
        ended = ::waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    return ended == child && WIFEXITED(status) ? WEXITSTATUS(status) : EINTR;
}

} // namespace

std::expected<void, int> exchangeFolders(const fs::path& staged, const fs::path& target) {
    if (::renameat2(AT_FDCWD, staged.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) != 0) {
        if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) {
            return std::unexpected(errno);
        }
        if (auto exchanged = exchangeByRenaming(staged, target); !exchanged) {
            return exchanged;
        }
    }
    flushFolder(target.parent_path());
    flushFolder(staged.parent_path());
    return {};
}

std::expected<void, int> exchangeByRenaming(const fs::path& staged, const fs::path& target) {
    fs::path aside = staged;
    aside += ".previous";
    const auto coming = inodeOf(staged);
    if (!coming) {
        return std::unexpected(errno);
    }
    const int error = renameInChild(staged, target, aside);
    if (isMissing(target)) {
        ::rename(aside.c_str(), target.c_str());
    }
    if (error != EINTR) {
        return error == 0 ? std::expected<void, int>() : std::unexpected(error);
    }
    // Whatever the child still did: by where the new folder is, it is done or undone.
    if (inodeOf(target) != coming) {
        return std::unexpected(error);
    }
    if (isMissing(staged)) {
        ::rename(aside.c_str(), staged.c_str());
    }
    return {};
}

} // namespace platform::appcast
