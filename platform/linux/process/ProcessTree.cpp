// Killing whole trees, as far as /proc tells who belongs to them. It is read like any folder: a
// process that forks while it is read may be missed, so whoever wants nobody left looks again.
#include "platform/posix/ProcessSystem.h"
#include "platform/posix/UniqueFd.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace platform::posix {
namespace {

constexpr int longestSearch = 3; // seconds
constexpr int pauseBetweenLooks = 2;

struct Process {
    pid_t pid;
    char state;
    pid_t parent;
    pid_t group;
    pid_t session;

    [[nodiscard]] bool isDead() const { return state == 'Z' || state == 'X'; }
};

UniqueFd openOf(pid_t pid, const char* name) noexcept {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/%s", pid, name);
    return UniqueFd(::open(path, O_RDONLY | O_CLOEXEC));
}

// False when the process is gone.
bool readProcess(pid_t pid, Process& process) noexcept {
    const UniqueFd file = openOf(pid, "stat");
    char text[512];
    const ssize_t count = file ? ::read(file.get(), text, sizeof text - 1) : -1;
    if (count <= 0) {
        return false;
    }
    text[count] = '\0';
    // The program's name stands between brackets and may hold any letter.
    const char* const rest = std::strrchr(text, ')');
    process.pid = pid;
    return rest != nullptr && std::sscanf(rest, ") %c %d %d %d", &process.state, &process.parent,
                                          &process.group, &process.session) == 4;
}

template <typename Visit>
void forEachProcess(Visit visit) noexcept {
    DIR* const folder = ::opendir("/proc");
    if (folder == nullptr) {
        return;
    }
    while (const dirent* entry = ::readdir(folder)) {
        const pid_t pid = static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10));
        Process process{};
        if (pid > 0 && readProcess(pid, process) && !process.isDead()) {
            visit(process);
        }
    }
    ::closedir(folder);
}

// Whether the process was started with this environment entry.
bool carries(pid_t pid, const char* mark) noexcept {
    const std::size_t length = std::strlen(mark);
    const UniqueFd file = openOf(pid, "environ");
    FILE* const stream = file ? ::fdopen(::dup(file.get()), "r") : nullptr;
    if (stream == nullptr) {
        return false;
    }
    char* entry = nullptr;
    std::size_t capacity = 0;
    bool found = false;
    while (!found) {
        const ssize_t count = ::getdelim(&entry, &capacity, '\0', stream);
        if (count <= 0) {
            break;
        }
        found = std::strncmp(entry, mark, length + 1) == 0;
    }
    std::free(entry);
    std::fclose(stream);
    return found;
}

// One look at everybody. The system's handle is opened before the process is judged, so that the
// signal reaches the one that was judged. True when somebody had to be killed.
bool killOnce(const AbandonedTree& tree, pid_t session) noexcept {
    bool killed = false;
    forEachProcess([&](const Process& seen) {
        const UniqueFd handle(static_cast<int>(::syscall(SYS_pidfd_open, seen.pid, 0U)));
        Process process{};
        if (!handle || seen.pid == ::getpid() || !readProcess(seen.pid, process) ||
            process.isDead()) {
            return;
        }
        const bool inGroup = process.group == tree.leader && process.session == session;
        if (inGroup || (tree.mark[0] != '\0' && carries(process.pid, tree.mark))) {
            killed = true;
            ::syscall(SYS_pidfd_send_signal, handle.get(), SIGKILL, nullptr, 0U);
        }
    });
    return killed;
}

} // namespace

void killChildren() noexcept {
    forEachProcess([self = ::getpid()](const Process& process) {
        if (process.parent == self) {
            ::kill(process.pid, SIGKILL); // unreaped, so the number is still its own
        }
    });
}

void killAbandonedTree(const AbandonedTree& tree) noexcept {
    timespec begin{};
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &begin);
    while (killOnce(tree, ::getsid(0)) && now.tv_sec <= begin.tv_sec + longestSearch) {
        ::poll(nullptr, 0, pauseBetweenLooks);
        ::clock_gettime(CLOCK_MONOTONIC, &now);
    }
}

} // namespace platform::posix
