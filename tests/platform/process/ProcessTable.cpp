#include "tests/platform/process/ProcessTable.h"

#include "platform/posix/Deadline.h"
#include "platform/posix/ExitWatch.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <tuple>

namespace process_test {
namespace {

namespace fs = std::filesystem;

struct Entry {
    pid_t pid = 0;
    char state = 0;
    pid_t parent = 0;
    pid_t group = 0;
};

// A line of /proc/PID/stat; the program's name is in parentheses and may hold anything.
std::optional<Entry> readEntry(const fs::path& folder) {
    std::ifstream file(folder / "stat");
    std::string line;
    std::getline(file, line); // fails quietly when the process goes away meanwhile
    const auto close = line.rfind(')');
    if (close == std::string::npos) {
        return std::nullopt;
    }
    Entry entry;
    entry.pid = std::stoi(line);
    std::istringstream(line.substr(close + 1)) >> entry.state >> entry.parent >> entry.group;
    return entry;
}

std::vector<Entry> livingMembers(pid_t group) {
    std::vector<Entry> members;
    for (const auto& folder : fs::directory_iterator("/proc")) {
        if (std::isdigit(static_cast<unsigned char>(folder.path().filename().native()[0])) == 0) {
            continue;
        }
        const auto entry = readEntry(folder.path());
        if (entry && entry->group == group && entry->state != 'Z' && entry->state != 'X') {
            members.push_back(*entry);
        }
    }
    return members;
}

std::size_t entriesOf(const char* folder) {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

std::size_t threadsNamed(const std::string& name) {
    std::size_t count = 0;
    for (const auto& folder : fs::directory_iterator("/proc/self/task")) {
        std::ifstream file(folder.path() / "comm");
        std::string line;
        std::getline(file, line);
        count += line == name ? 1U : 0U;
    }
    return count;
}

} // namespace

std::vector<pid_t> membersOf(pid_t group) {
    std::vector<pid_t> result;
    for (const auto& entry : livingMembers(group)) {
        result.push_back(entry.pid);
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
    const auto entry = readEntry("/proc/" + std::to_string(pid));
    return entry ? entry->parent : -1;
}

std::size_t openDescriptors() {
    return entriesOf("/proc/self/fd");
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

void Watched::signal(int number) const {
    ::syscall(SYS_pidfd_send_signal, exitWatch.get(), number, nullptr, 0U);
}

} // namespace process_test
