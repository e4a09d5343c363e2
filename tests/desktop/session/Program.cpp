#include "tests/desktop/session/Program.h"

#include "tests/desktop/session/Waiting.h"
#include "tests/support/processes/Arguments.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>
#include <utility>

namespace desktop {
namespace {

using process_test::pointersTo;

[[noreturn]] void become(const std::vector<char*>& arguments, const std::vector<char*>& environment,
                         const char* outputFile, const char* errorFile) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::setpgid(0, 0);
    for (int number = 1; number < NSIG; ++number) {
        ::signal(number, SIG_DFL);
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND;
    ::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
    ::dup2(::open(outputFile, flags, 0600), STDOUT_FILENO);
    ::dup2(::open(errorFile, flags, 0600), STDERR_FILENO);
    ::close_range(3, ~0U, 0);
    ::execvpe(arguments.front(), arguments.data(), environment.data());
    ::_exit(127);
}

std::set<pid_t>& unreaped() {
    static std::set<pid_t> pids;
    return pids;
}

} // namespace

std::string readFile(const std::filesystem::path& file) {
    const std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    // An error on the way ends the text; in /proc that is a process that went away meanwhile.
    text << stream.rdbuf();
    return text.str();
}

Program::Program(const std::vector<std::string>& command, const platform::Environment& environment,
                 std::filesystem::path output)
    : output_(std::move(output)) {
    std::vector<std::string> variables;
    for (const auto& [name, value] : environment) {
        variables.push_back(std::string(name).append("=").append(value));
    }
    const std::vector<char*> arguments = pointersTo(command);
    const std::vector<char*> environmentPointers = pointersTo(variables);
    const std::string outputFile = output_.string() + ".out";
    const std::string errorFile = output_.string() + ".err";
    // A program before it with the same name may have said what its starter waits for.
    std::filesystem::remove(outputFile);
    std::filesystem::remove(errorFile);
    pid_ = ::fork();
    if (pid_ == 0) {
        become(arguments, environmentPointers, outputFile.c_str(), errorFile.c_str());
    }
    if (pid_ < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot start " + command.front());
    }
    unreaped().insert(pid_);
}

bool Program::owns(pid_t pid) {
    return unreaped().contains(pid);
}

Program::~Program() {
    if (isRunning()) {
        signal(SIGKILL);
        (void)waitForExit(patience);
    }
}

bool Program::isRunning() {
    if (status_) {
        return false;
    }
    int status = 0;
    if (::waitpid(pid_, &status, WNOHANG) == pid_) {
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        unreaped().erase(pid_);
    }
    return !status_;
}

void Program::signal(int number) const {
    if (!status_) {
        ::kill(pid_, number);
    }
}

std::optional<int> Program::waitForExit(std::chrono::milliseconds limit) {
    (void)eventually([this] { return !isRunning(); }, limit);
    return status_;
}

std::string Program::standardOutput() const {
    return readFile(output_.string() + ".out");
}

std::string Program::standardError() const {
    return readFile(output_.string() + ".err");
}

} // namespace desktop
