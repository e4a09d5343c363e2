#include "tests/cocoa_host/application/DrivenProgram.h"

#include "tests/desktop/session/Waiting.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <system_error>

namespace cocoa_host {
namespace {

void makePipe(int (&ends)[2]) {
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
}

std::string textOf(int file) {
    std::string text;
    char block[4096];
    for (ssize_t count = 1; count > 0;) {
        count = ::pread(file, block, sizeof block, static_cast<off_t>(text.size()));
        text.append(block, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return text;
}

} // namespace

DrivenProgram::DrivenProgram(const std::vector<std::string>& command, const Variables& more) {
    int input[2];
    int output[2];
    makePipe(input);
    makePipe(output);
    errors_ = ::memfd_create("errors", MFD_CLOEXEC);
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(input[0], STDIN_FILENO);
        ::dup2(output[1], STDOUT_FILENO);
        if (errors_ >= 0) {
            ::dup2(errors_, STDERR_FILENO);
        }
        // What ignores SIGINT by inheritance (a job in the background) is not what is tried.
        struct sigaction usual = {};
        usual.sa_handler = SIG_DFL;
        for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
            ::sigaction(number, &usual, nullptr);
        }
        ::setenv("COCOA_HOST_DRIVER", "1", 1);
        for (const auto& [name, value] : more) {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
        ::execv(arguments.front(), arguments.data());
        ::_exit(127);
    }
    ::close(input[0]);
    ::close(output[1]);
    input_ = input[1];
    output_ = output[0];
    if (pid_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
}

DrivenProgram::~DrivenProgram() {
    if (!status_) {
        signal(SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    ::close(input_);
    ::close(output_);
    const std::string errors = textOf(errors_);
    std::fwrite(errors.data(), 1, errors.size(), stderr);
    ::close(errors_);
}

void DrivenProgram::signal(int number) const {
    if (!status_) {
        ::kill(pid_, number);
    }
}

std::optional<int> DrivenProgram::waitForExit() {
    (void)desktop::eventually([this] {
        int status = 0;
        if (!status_ && ::waitpid(pid_, &status, WNOHANG) == pid_) {
            status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        }
        return status_.has_value();
    });
    while (status_ && readMore()) {
    }
    return status_;
}

std::vector<std::string> DrivenProgram::complaints() const {
    std::istringstream text(textOf(errors_));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool DrivenProgram::readMore() {
    pollfd readable{.fd = output_, .events = POLLIN, .revents = 0};
    constexpr std::chrono::milliseconds limit = desktop::patience;
    char block[4096];
    if (::poll(&readable, 1, static_cast<int>(limit.count())) <= 0) {
        return false;
    }
    const ssize_t count = ::read(output_, block, sizeof block);
    if (count <= 0) {
        return false;
    }
    unread_.append(block, static_cast<std::size_t>(count));
    for (std::size_t end = unread_.find('\n'); end != std::string::npos; end = unread_.find('\n')) {
        const std::string line = unread_.substr(0, end);
        unread_.erase(0, end + 1);
        (line.starts_with('>') ? answers_ : said_).push_back(line);
    }
    return true;
}

bool DrivenProgram::says(const std::string& line) {
    while (std::ranges::find(said_, line) == said_.end()) {
        if (!readMore()) {
            return false;
        }
    }
    return true;
}

std::optional<std::string> DrivenProgram::takeAnswerLine() {
    while (answers_.empty()) {
        if (!readMore()) {
            return std::nullopt;
        }
    }
    std::string line = answers_.front();
    answers_.erase(answers_.begin());
    return line;
}

void DrivenProgram::tell(const std::string& command) const {
    const std::string line = command + "\n";
    [[maybe_unused]] const auto written = ::write(input_, line.data(), line.size());
}

std::vector<std::string> DrivenProgram::ask(const std::string& command) {
    tell(command);
    std::vector<std::string> lines;
    for (auto line = takeAnswerLine(); line && *line != ">"; line = takeAnswerLine()) {
        lines.push_back(line->substr(2));
    }
    return lines;
}

} // namespace cocoa_host
