#include "platform/linux/window/PageMemory.h"

#include "platform/posix/ReadFile.h"
#include "platform/posix/UniqueFd.h"

#include <fmt/format.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace platform::gtk {
namespace {

// As the kernel cuts names. Only the engine's processes are below us by these.
constexpr const char* webProcess = "WebKitWebProces";
constexpr const char* networkProgram = "WebKitNetworkPr";
constexpr int deepest = 8; // bubblewrap stands in between

std::string contentOf(const std::filesystem::path& path) {
    constexpr std::size_t most = 64UL * 1024;
    return posix::readFile(path, most).value_or(std::string());
}

// Anonymous memory; what is mapped from files can be dropped.
long residentMebibytes(pid_t pid) {
    std::istringstream file(contentOf(fmt::format("/proc/{}/statm", pid)));
    long size = 0;
    long resident = 0;
    long shared = 0;
    file >> size >> resident >> shared;
    return (resident - shared) * (::sysconf(_SC_PAGESIZE) / 1024) / 1024;
}

// Its memory is given back by this thread: the engine has threads of the lowest priority, and the
// one of them that happens to be the last would take seconds for it on a busy computer.
void kill(pid_t pid) {
    const posix::UniqueFd handle(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0U)));
    if (handle && ::syscall(SYS_pidfd_send_signal, handle.get(), SIGKILL, nullptr, 0U) == 0) {
        ::syscall(SYS_process_mrelease, handle.get(), 0U);
    }
}

// A child belongs to the thread that started it.
template <typename Visit>
void visitChildren(const std::filesystem::path& task, const Visit& visit) {
    std::istringstream children(contentOf(task / "children"));
    for (pid_t child = 0; children >> child;) {
        visit(child);
    }
}

template <typename Visit>
void visitBelow(pid_t pid, int depth, const char* program, Threads threads, const Visit& visit) {
    const auto look = [&](pid_t child) {
        if (contentOf(fmt::format("/proc/{}/comm", child)) == fmt::format("{}\n", program)) {
            visit(child);
        } else if (depth < deepest) {
            visitBelow(child, depth + 1, program, threads, visit);
        }
    };
    const std::filesystem::path tasks = fmt::format("/proc/{}/task", pid);
    if (threads == Threads::main) {
        visitChildren(tasks / std::to_string(pid), look);
        return;
    }
    std::error_code gone;
    for (std::filesystem::directory_iterator task(tasks, gone), end; !gone && task != end;
         task.increment(gone)) {
        visitChildren(task->path(), look);
    }
}

std::vector<pid_t> below(const char* program, Threads threads) {
    std::vector<pid_t> found;
    visitBelow(::getpid(), 0, program, threads, [&](pid_t pid) { found.push_back(pid); });
    return found;
}

} // namespace

PageMemory::PageMemory(std::function<bool()> isPageOnScreen)
    : isPageOnScreen_(std::move(isPageOnScreen)) {
    lookAfter(secondsUntilLook(/*isPageOnScreen=*/true));
}

PageMemory::~PageMemory() {
    g_source_remove(timer_);
}

void PageMemory::lookAfter(unsigned seconds) {
    timer_ = g_timeout_add_seconds(seconds, onLook, this);
}

gboolean PageMemory::onLook(gpointer data) {
    auto* const self = static_cast<PageMemory*>(data);
    for (const pid_t pid : pageProcesses(threadsToLookAt(self->looks_++))) {
        if (residentMebibytes(pid) > long{pageMemoryLimit}) {
            kill(pid);
        }
    }
    self->lookAfter(secondsUntilLook(self->isPageOnScreen_()));
    return G_SOURCE_REMOVE;
}

std::vector<pid_t> pageProcesses(Threads threads) {
    return below(webProcess, threads);
}

void killPages() {
    std::ranges::for_each(pageProcesses(Threads::all), kill);
}

pid_t networkProcess() {
    const std::vector<pid_t> found = below(networkProgram, Threads::all);
    return found.empty() ? 0 : found.back();
}

} // namespace platform::gtk
