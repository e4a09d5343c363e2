#include "tests/support/processes/ProcessTable.h"

#include "platform/posix/Deadline.h"
#include "platform/posix/ExitWatch.h"
#include "tests/support/processes/ProcessEntries.h"

#include <poll.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <thread>
#include <tuple>

namespace process_test {
namespace {

std::vector<ProcessEntry> livingMembers(pid_t group) {
    std::vector<ProcessEntry> members = everyProcess();
    std::erase_if(members,
                  [&](const ProcessEntry& entry) { return entry.group != group || entry.ended; });
    return members;
}

} // namespace

std::vector<pid_t> membersOf(pid_t group) {
    std::vector<pid_t> result;
    for (const auto& entry : livingMembers(group)) {
        result.push_back(entry.pid);
    }
    return result;
}

std::vector<pid_t> childrenOf(pid_t parent, const std::string& program) {
    std::vector<pid_t> result;
    for (const auto& entry : everyProcess()) {
        if (entry.parent == parent && entry.program == program && !entry.ended) {
            result.push_back(entry.pid);
        }
    }
    return result;
}

bool groupEnds(pid_t group) {
    const platform::posix::Deadline deadline(patience);
    for (auto members = membersOf(group); !members.empty(); members = membersOf(group)) {
        if (deadline.isOver()) {
            return false;
        }
        const platform::posix::UniqueFd exitWatch = platform::posix::watchForExit(members.front());
        pollfd watch{.fd = exitWatch.get(), .events = POLLIN, .revents = 0};
        if (exitWatch) {
            std::ignore = deadline.poll({&watch, 1});
        }
    }
    return true;
}

pid_t parentOf(pid_t pid) {
    const auto processes = everyProcess();
    const auto found = std::ranges::find(processes, pid, &ProcessEntry::pid);
    return found == processes.end() ? -1 : found->parent;
}

bool isGone(pid_t pid) {
    const auto processes = everyProcess();
    return std::ranges::none_of(
        processes, [&](const ProcessEntry& entry) { return entry.pid == pid && !entry.ended; });
}

bool threadsBecome(const std::string& name, std::size_t number) {
    const platform::posix::Deadline deadline(patience);
    while (threadsNamed(name) != number) {
        if (deadline.isOver()) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

bool hasChildren() {
    siginfo_t info = {};
    return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

Watched::Watched(pid_t pid)
    : processId(pid)
    , exitWatch(platform::posix::watchForExit(pid)) {
    if (!exitWatch) {
        throw std::runtime_error("no process " + std::to_string(pid));
    }
}

bool Watched::endsWithin(std::chrono::milliseconds timeout) const {
    const platform::posix::Deadline deadline(timeout);
    pollfd watch{.fd = exitWatch.get(), .events = POLLIN, .revents = 0};
    do {
        if (deadline.poll({&watch, 1})) {
            return true;
        }
    } while (!deadline.isOver());
    return false;
}

} // namespace process_test
