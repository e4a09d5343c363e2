#include "tests/platform/services/ThreadCosts.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <system_error>
#include <thread>

namespace {

std::set<int> numbersIn(const char* folder, int except) {
    std::set<int> numbers;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const int number = std::stoi(entry.path().filename().string());
        if (number != except) {
            numbers.insert(number);
        }
    }
    return numbers;
}

std::filesystem::path fileOf(int thread, const char* name) {
    return std::filesystem::path("/proc/self/task") / std::to_string(thread) / name;
}

std::string fieldOf(int thread, const std::string& field) {
    std::ifstream status(fileOf(thread, "status"));
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(field + ":\t")) {
            return line.substr(field.size() + 2);
        }
    }
    return {};
}

bool waitUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

} // namespace

std::set<int> threadIds() {
    return numbersIn("/proc/self/task", -1);
}

std::optional<int> waitForThreadNamed(const std::string& name, const std::set<int>& known) {
    std::optional<int> found;
    waitUntil([&] {
        for (const int thread : threadIds()) {
            if (!known.contains(thread) && fieldOf(thread, "Name") == name) {
                found = thread;
            }
        }
        return found.has_value();
    });
    return found;
}

bool waitUntilAsleep(int thread) {
    return waitUntil([thread] { return fieldOf(thread, "State").starts_with('S'); });
}

std::uint64_t contextSwitches(int thread) {
    return std::stoull(fieldOf(thread, "voluntary_ctxt_switches")) +
           std::stoull(fieldOf(thread, "nonvoluntary_ctxt_switches"));
}

std::set<int> openDescriptors() {
    std::set<int> open;
    for (const int descriptor : numbersIn("/proc/self/fd", -1)) {
        if (::fcntl(descriptor, F_GETFD) >= 0) { // not the one that was used to look
            open.insert(descriptor);
        }
    }
    return open;
}

bool isInternetSocket(int descriptor) {
    int domain = 0;
    socklen_t length = sizeof(domain);
    return ::getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &length) == 0 &&
           (domain == AF_INET || domain == AF_INET6);
}

bool isClosedOnExec(int descriptor) {
    return (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0;
}
