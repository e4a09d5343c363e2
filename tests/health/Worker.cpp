#include "tests/health/Worker.h"

#include "tests/support/processes/Arguments.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

extern char** environ; // NOLINT: POSIX leaves the declaration to the program

namespace health_worker {
namespace {

using process_test::pointersTo;

std::vector<std::string> environmentFor(const std::filesystem::path& root,
                                        const std::optional<Fault>& fault) {
    std::vector<std::string> variables;
    std::string sanitizer = "verify_asan_link_order=0";
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view variable = *entry;
        constexpr std::string_view options = "ASAN_OPTIONS=";
        if (variable.starts_with(options)) {
            sanitizer.append(":").append(variable.substr(options.size()));
        } else {
            variables.emplace_back(variable);
        }
    }
    // The library comes before the sanitizer's own.
    variables.push_back("ASAN_OPTIONS=" + sanitizer);
    if (fault) {
        const auto add = [&](const char* name, const std::string& value) {
            variables.push_back(std::string(name) + "=" + value);
        };
        add("LD_PRELOAD", FAULTFS_LIBRARY);
        add(faultfs::rootVariable, root);
        add(faultfs::logVariable, fault->log);
        add(faultfs::callVariable, std::to_string(fault->call));
        add(faultfs::actionVariable, fault->action);
    }
    return variables;
}

std::vector<std::string> linesOf(std::FILE* file) {
    std::fseek(file, 0, SEEK_SET);
    std::vector<std::string> lines;
    std::array<char, 4096> line{};
    while (std::fgets(line.data(), static_cast<int>(line.size()), file) != nullptr) {
        lines.emplace_back(line.data());
        if (lines.back().ends_with('\n')) {
            lines.back().pop_back();
        }
    }
    return lines;
}

} // namespace

bool Outcome::hasSaid(const std::string& beginning) const {
    return std::ranges::any_of(said, [&](const auto& line) { return line.starts_with(beginning); });
}

Worker::Worker(const std::filesystem::path& root, const std::string& mode, int number,
               const std::optional<Fault>& fault)
    : output_(std::tmpfile(), &std::fclose) {
    if (!output_) {
        throw std::runtime_error("no temporary file");
    }
    std::vector<std::string> words{HEALTH_WORKER, root, mode, std::to_string(number)};
    std::vector<std::string> variables = environmentFor(root, fault);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ::fileno(output_.get()), STDOUT_FILENO);
    const int error = ::posix_spawn(&pid_, HEALTH_WORKER, &actions, nullptr,
                                    pointersTo(words).data(), pointersTo(variables).data());
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::runtime_error("the worker does not start");
    }
}

Worker::~Worker() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

Outcome Worker::finish() {
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            .said = linesOf(output_.get())};
}

} // namespace health_worker
