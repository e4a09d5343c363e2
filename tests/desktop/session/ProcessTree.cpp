#include "tests/desktop/session/ProcessTree.h"

#include "tests/desktop/session/Program.h"

#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <optional>
#include <sstream>

namespace desktop {
namespace {

// Nothing for a process that is gone by now.
std::optional<Process> readProcess(const std::filesystem::path& folder) {
    const std::string stat = readFile(folder / "stat");
    const std::size_t open = stat.find('(');
    const std::size_t close = stat.rfind(')');
    if (open == std::string::npos || close == std::string::npos) {
        return std::nullopt;
    }
    Process process;
    process.pid = std::stoi(folder.filename().string());
    std::istringstream(stat.substr(close + 1)) >> process.state >> process.parent;
    process.command = readFile(folder / "cmdline");
    std::ranges::replace(process.command, '\0', ' ');
    if (process.command.empty()) {
        process.command = stat.substr(open + 1, close - open - 1);
    }
    return process;
}

std::multimap<pid_t, Process> allByParent() {
    std::multimap<pid_t, Process> processes;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename().string();
        if (std::isdigit(static_cast<unsigned char>(name.front())) == 0) {
            continue;
        }
        if (auto process = readProcess(entry.path())) {
            processes.emplace(process->parent, std::move(*process));
        }
    }
    return processes;
}

void collect(const std::multimap<pid_t, Process>& processes, pid_t parent,
             const std::vector<pid_t>& except, std::vector<Process>& result) {
    const auto [first, last] = processes.equal_range(parent);
    for (auto child = first; child != last; ++child) {
        const Process& process = child->second;
        if (std::ranges::find(except, process.pid) == except.end()) {
            result.push_back(process);
            collect(processes, process.pid, except, result);
        }
    }
}

} // namespace

void adoptOrphans() {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
}

std::vector<Process> descendants(const std::vector<pid_t>& except) {
    std::vector<Process> result;
    collect(allByParent(), ::getpid(), except, result);
    std::erase_if(result, [](const Process& process) {
        return process.state == 'Z' && process.parent == ::getpid() &&
               !Program::owns(process.pid) &&
               ::waitpid(process.pid, nullptr, WNOHANG) == process.pid;
    });
    return result;
}

std::string describe(const std::vector<Process>& processes) {
    std::string text;
    for (const Process& process : processes) {
        text += fmt::format("{} (parent {}, {}): {}\n", process.pid, process.parent, process.state,
                            process.command);
    }
    return text;
}

} // namespace desktop
