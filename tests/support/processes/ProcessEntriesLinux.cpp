#include "tests/support/processes/ProcessEntries.h"
#include "tests/support/processes/ProcessTable.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

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

std::size_t openDescriptors() {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

void Watched::signal(int number) const {
    ::syscall(SYS_pidfd_send_signal, exitWatch.get(), number, nullptr, 0U);
}

} // namespace process_test
