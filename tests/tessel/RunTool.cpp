#include "tests/tessel/RunTool.h"

#include "tests/support/processes/Arguments.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

extern char** environ;

namespace tool::test {
namespace {

using process_test::pointersTo;

// An unnamed temporary file: neither side can block on the other, however much is written.
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File temporaryFile() {
    File file(std::tmpfile(), &std::fclose);
    if (!file) {
        throw std::runtime_error(std::string("cannot make a temporary file: ") +
                                 std::strerror(errno));
    }
    return file;
}

std::string contents(std::FILE* file) {
    std::rewind(file);
    std::string text;
    std::array<char, 4096> chunk{};
    while (const std::size_t count = std::fread(chunk.data(), 1, chunk.size(), file)) {
        text.append(chunk.data(), count);
    }
    return text;
}

std::vector<std::string> mergedEnvironment(const std::map<std::string, std::string>& more) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!more.contains(text.substr(0, text.find('=')))) {
            result.push_back(text);
        }
    }
    for (const auto& [name, value] : more) {
        result.push_back(name + "=" + value);
    }
    return result;
}

} // namespace

ToolResult runTool(const std::vector<std::string>& arguments, const std::string& input,
                   const std::map<std::string, std::string>& environment) {
    return runProgram(TESSEL_EXECUTABLE, arguments, input, environment);
}

ToolResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                      const std::string& input,
                      const std::map<std::string, std::string>& environment) {
    const File in = temporaryFile();
    const File out = temporaryFile();
    const File err = temporaryFile();
    std::fwrite(input.data(), 1, input.size(), in.get());
    std::rewind(in.get());

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fileno(in.get()), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fileno(out.get()), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fileno(err.get()), STDERR_FILENO);
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = mergedEnvironment(environment);
    pid_t pid = 0;
    const int failure = posix_spawn(&pid, program.c_str(), &actions, nullptr,
                                    pointersTo(words).data(), pointersTo(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
        throw std::runtime_error("cannot start " + program + ": " + std::strerror(failure));
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), contents(out.get()),
            contents(err.get())};
}

} // namespace tool::test
