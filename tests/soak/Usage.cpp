#include "tests/soak/Usage.h"

#include "tests/desktop/session/Program.h"

#include <fmt/format.h>

#include <filesystem>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace soak {
namespace {

// The number of that line of /proc/PID/status; nothing for a process that is gone or a zombie.
std::optional<std::size_t> statusNumber(pid_t pid, const std::string& name) {
    std::istringstream status(desktop::readFile(fmt::format("/proc/{}/status", pid)));
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":")) {
            return std::stoul(line.substr(name.size() + 1));
        }
    }
    return std::nullopt;
}

double residentMiB(pid_t pid) {
    return static_cast<double>(statusNumber(pid, "VmRSS").value_or(0)) / 1024;
}

} // namespace

std::string nameOf(const desktop::Process& process) {
    if (process.state == 'Z') {
        return "zombie";
    }
    const std::string program = process.command.substr(0, process.command.find(' '));
    return std::filesystem::path(program).filename().string();
}

Usage usageOf(pid_t program, const std::vector<desktop::Process>& all) {
    const auto threads = statusNumber(program, "Threads");
    if (!threads || residentMiB(program) == 0) {
        throw std::runtime_error("the application is gone");
    }
    Usage usage;
    usage.threads = *threads;
    usage.residentMiB = residentMiB(program);
    usage.descriptors = static_cast<std::size_t>(std::distance(
        std::filesystem::directory_iterator(fmt::format("/proc/{}/fd", program)), {}));
    for (const desktop::Process& process : all) {
        ++usage.processes[nameOf(process)];
        if (process.pid != program) {
            usage.othersMiB += residentMiB(process.pid);
        }
    }
    return usage;
}

std::string describe(const Usage& usage) {
    std::string text = fmt::format(
        "{} descriptors, {} threads, {:.1f} MiB resident ({:.1f} MiB in other processes);",
        usage.descriptors, usage.threads, usage.residentMiB, usage.othersMiB);
    for (const auto& [name, count] : usage.processes) {
        text += fmt::format(" {}x{}", count, name);
    }
    return text;
}

} // namespace soak
