#include "tests/support/processes/ProcessEntries.h"
#include "tests/support/processes/ProcessTable.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace process_test {
namespace {

namespace fs = std::filesystem;

// A line of /proc/PID/stat; the program's name is in parentheses and may hold anything.
std::optional<ProcessEntry> readEntry(const fs::path& folder) {
    std::ifstream file(folder / "stat");
    std::string line;
    std::getline(file, line); // fails quietly when the process goes away meanwhile
    const auto open = line.find('(');
    const auto close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos) {
        return std::nullopt;
    }
    ProcessEntry entry;
    char state = 0;
    entry.pid = std::stoi(line);
    std::istringstream(line.substr(close + 1)) >> state >> entry.parent >> entry.group;
    entry.ended = state == 'Z' || state == 'X';
    entry.program = line.substr(open + 1, close - open - 1);
    return entry;
}

} // namespace

std::vector<ProcessEntry> everyProcess() {
    std::vector<ProcessEntry> found;
    for (const auto& folder : fs::directory_iterator("/proc")) {
        if (std::isdigit(static_cast<unsigned char>(folder.path().filename().native()[0])) != 0) {
            if (auto entry = readEntry(folder.path())) {
                found.push_back(*std::move(entry));
            }
        }
    }
    return found;
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

ProcessorTime processorTime(pid_t pid) {
    std::ifstream file(fs::path("/proc") / std::to_string(pid) / "stat");
    const std::string line((std::istreambuf_iterator<char>(file)), {});
    const auto close = line.rfind(')');
    if (close == std::string::npos) {
        throw std::runtime_error("there is no process " + std::to_string(pid));
    }
    std::istringstream fields(line.substr(close + 1));
    std::string skipped;
    for (int field = 3; field < 14; ++field) { // as proc_pid_stat(5) counts them
        fields >> skipped;
    }
    std::int64_t user = 0;
    std::int64_t system = 0;
    std::int64_t childrensUser = 0;
    std::int64_t childrensSystem = 0;
    fields >> user >> system >> childrensUser >> childrensSystem;
    const auto inMs = [](std::int64_t ticks) {
        return std::chrono::milliseconds(ticks * 1000 / ::sysconf(_SC_CLK_TCK));
    };
    return {.own = inMs(user + system), .ofChildren = inMs(childrensUser + childrensSystem)};
}

std::size_t openDescriptors() {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

void Watched::signal(int number) const {
    ::syscall(SYS_pidfd_send_signal, exitWatch.get(), number, nullptr, 0U);
}

} // namespace process_test
