#include "tests/ostrad/ServerProcess.h"

#include "platform/posix/Pipe.h"
#include "tests/support/processes/Arguments.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <string_view>
#include <thread>

extern char** environ; // NOLINT: POSIX leaves the declaration to the program

namespace ostrad::test {

namespace {

using process_test::pointersTo;

std::vector<std::string> environmentWith(const ServerProcess::Environment& added) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!added.contains(text.substr(0, text.find('=')))) {
            result.push_back(text);
        }
    }
    for (const auto& [name, value] : added) {
        result.push_back(name + '=' + value);
    }
    return result;
}

} // namespace

ServerProcess::ServerProcess(const std::string& program, const std::vector<std::string>& arguments,
                             const Environment& environment) {
    auto ends = platform::posix::makePipe();
    if (!ends) {
        throw std::runtime_error("no pipe");
    }
    output = ends->readEnd.release();
    std::vector<std::string> command{program};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = environmentWith(environment);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, ends->writeEnd.get(), 1);
    posix_spawn_file_actions_adddup2(&files, ends->writeEnd.get(), 2);
    const int error = ::posix_spawn(&child, program.c_str(), &files, nullptr,
                                    pointersTo(command).data(), pointersTo(variables).data());
    posix_spawn_file_actions_destroy(&files);
    ends->writeEnd.reset();
    if (error != 0) {
        ::close(output);
        throw std::runtime_error("cannot start " + program);
    }
}

ServerProcess::~ServerProcess() {
    if (!status) {
        ::kill(child, SIGKILL);
        int ignored = 0;
        while (::waitpid(child, &ignored, 0) < 0 && errno == EINTR) {
        }
    }
    ::close(output);
}

std::uint16_t ServerProcess::waitForPort() {
    std::array<char, 512> chunk{};
    constexpr std::string_view announcement = "listening on ";
    std::size_t begin = 0;
    while ((begin = text.find(announcement)) == std::string::npos ||
           text.find('\n', begin) == std::string::npos) {
        pollfd waiting{.fd = output, .events = POLLIN, .revents = 0};
        const ssize_t got =
            ::poll(&waiting, 1, 30'000) == 1 ? ::read(output, chunk.data(), chunk.size()) : 0;
        if (got <= 0) {
            throw std::runtime_error("the server did not start: " + text);
        }
        text.append(chunk.data(), static_cast<std::size_t>(got));
    }
    const std::string line = text.substr(begin, text.find('\n', begin) - begin);
    return static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
}

void ServerProcess::signal(int number) const {
    ::kill(child, number);
}

std::optional<int> ServerProcess::wait(std::chrono::milliseconds time) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (!status) {
        int raw = 0;
        if (::waitpid(child, &raw, WNOHANG) == child) {
            status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
        } else if (std::chrono::steady_clock::now() >= deadline) {
            break;
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    return status;
}

std::string ServerProcess::readOutput() {
    std::array<char, 4096> chunk{};
    for (ssize_t got = 0; (got = ::read(output, chunk.data(), chunk.size())) > 0;) {
        text.append(chunk.data(), static_cast<std::size_t>(got));
    }
    return text;
}

std::string findTool(const std::string& name) {
    for (const char* const folder : {"/usr/bin/", "/usr/local/bin/", "/opt/homebrew/bin/"}) {
        if (::access((folder + name).c_str(), X_OK) == 0) {
            return folder + name;
        }
    }
    return name;
}

Finished runToEnd(const std::string& program, const std::vector<std::string>& arguments,
                  const ServerProcess::Environment& environment) {
    ServerProcess process(program, arguments, environment);
    Finished finished;
    finished.status = process.wait().value_or(-1);
    if (finished.status == -1) {
        throw std::runtime_error(program + " did not end");
    }
    finished.output = process.readOutput();
    return finished;
}

} // namespace ostrad::test
