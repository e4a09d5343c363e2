#include "platform/linux/window/PageMemory.h"

#include "platform/posix/UniqueFd.h"

#include <fmt/format.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <utility>

namespace platform::gtk {
namespace {

// As the kernel cuts names. Only the engine's processes are below us by these.
constexpr const char* webProcess = "WebKitWebProces";
constexpr const char* networkProgram = "WebKitNetworkPr";
constexpr int deepest = 8; // bubblewrap stands in between

// Anonymous memory; what is mapped from files can be dropped.
long residentMebibytes(pid_t pid) {
    std::ifstream file(fmt::format("/proc/{}/statm", pid));
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

template <typename Visit>
void visitBelow(pid_t pid, int depth, const char* program, const Visit& visit) {
    std::string name;
    std::getline(std::ifstream(fmt::format("/proc/{}/comm", pid)), name);
    if (name == program) {
        visit(pid);
        return;
    }
    if (depth >= deepest) {
        return;
    }
    // A child belongs to the thread that started it.
    std::error_code gone;
    for (std::filesystem::directory_iterator task(fmt::format("/proc/{}/task", pid), gone), end;
         !gone && task != end; task.increment(gone)) {
        std::ifstream children(task->path() / "children");
        for (pid_t child = 0; children >> child;) {
            visitBelow(child, depth + 1, program, visit);
        }
    }
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
    visitBelow(::getpid(), 0, webProcess, [](pid_t pid) {
        if (residentMebibytes(pid) > long{pageMemoryLimit}) {
            kill(pid);
        }
    });
    self->lookAfter(secondsUntilLook(self->isPageOnScreen_()));
    return G_SOURCE_REMOVE;
}

void killPages() {
    visitBelow(::getpid(), 0, webProcess, [](pid_t pid) { kill(pid); });
}

pid_t networkProcess() {
    pid_t found = 0;
    visitBelow(::getpid(), 0, networkProgram, [&](pid_t pid) { found = pid; });
    return found;
}

} // namespace platform::gtk
