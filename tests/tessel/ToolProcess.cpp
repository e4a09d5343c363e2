#include "tests/tessel/ToolProcess.h"

#include "platform/posix/Pipe.h"
#include "tests/support/processes/Arguments.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

extern char** environ;

namespace tool::test {
namespace {

using platform::posix::UniqueFd;

constexpr std::chrono::seconds patience{30};
// A limit that every system has, where not every one has a device that is full.
constexpr const char* mayWriteNothing = "trap '' XFSZ; ulimit -f 0; exec \"$0\" \"$@\"";

struct Made {
    UniqueFd child;
    UniqueFd reading;
};

Made makeTerminal() {
    Made made;
    made.reading.reset(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!made.reading || ::grantpt(made.reading.get()) != 0 ||
        ::unlockpt(made.reading.get()) != 0) {
        throw std::runtime_error("there is no pseudo-terminal");
    }
    std::array<char, 128> name{};
    if (::ptsname_r(made.reading.get(), name.data(), name.size()) != 0) {
        throw std::runtime_error("the pseudo-terminal has no name");
    }
    made.child.reset(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    return made;
}

// Without a name.
UniqueFd makeFile() {
    std::FILE* const file = std::tmpfile();
    if (file == nullptr) {
        throw std::runtime_error("there is no temporary file");
    }
    UniqueFd made(::fcntl(::fileno(file), F_DUPFD_CLOEXEC, 0));
    std::fclose(file);
    return made;
}

Made make(Stream stream) {
    if (stream == Stream::terminal) {
        return makeTerminal();
    }
    Made made;
    if (stream == Stream::full) {
        made.child = makeFile();
    } else if (stream != Stream::closed) {
        auto pipe = platform::posix::makePipe();
        made.child = std::move(pipe->writeEnd);
        if (stream == Stream::pipe) {
            made.reading = std::move(pipe->readEnd);
        }
    }
    return made;
}

std::vector<std::string> plainEnvironment(const std::map<std::string, std::string>& more) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('='));
        if (!more.contains(name) && name != "NO_COLOR" && name != "TERM") {
            result.push_back(text);
        }
    }
    for (const auto& [name, value] : more) {
        result.push_back(name + "=" + value);
    }
    return result;
}

} // namespace

ToolProcess::ToolProcess(const std::vector<std::string>& arguments, Streams streams,
                         const std::map<std::string, std::string>& environment,
                         const std::vector<std::string>& wrapper) {
    Made out = make(streams.output);
    Made err = make(streams.error);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    for (const auto& [made, target] :
         {std::pair(&out, STDOUT_FILENO), std::pair(&err, STDERR_FILENO)}) {
        if (made->child) {
            posix_spawn_file_actions_adddup2(&actions, made->child.get(), target);
        } else {
            posix_spawn_file_actions_addclose(&actions, target);
        }
    }
    std::vector<std::string> words = wrapper;
    if (words.empty()) {
        words.emplace_back(TESSEL_EXECUTABLE);
    }
    if (streams.output == Stream::full || streams.error == Stream::full) {
        words.insert(words.begin(), {"/bin/sh", "-c", mayWriteNothing});
    }
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = plainEnvironment(environment);
    const int failure = posix_spawnp(&pid_, words.front().c_str(), &actions, nullptr,
                                     process_test::pointersTo(words).data(),
                                     process_test::pointersTo(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
        throw std::runtime_error("cannot start " + words.front() + ": " + std::strerror(failure));
    }
    output_.reading = std::move(out.reading);
    error_.reading = std::move(err.reading);
    for (const End* const end : {&output_, &error_}) {
        if (end->reading) {
            platform::posix::setNonBlocking(end->reading.get());
        }
    }
}

ToolProcess::~ToolProcess() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
    }
}

void ToolProcess::closeOutput() {
    output_.reading.reset();
}

void ToolProcess::signal(int number) const {
    ::kill(pid_, number);
}

void ToolProcess::pump(int milliseconds) {
    std::array<pollfd, 2> watched{
        {{.fd = output_.reading ? output_.reading.get() : -1, .events = POLLIN, .revents = 0},
         {.fd = error_.reading ? error_.reading.get() : -1, .events = POLLIN, .revents = 0}}};
    ::poll(watched.data(), watched.size(), milliseconds);
    for (End* const end : {&output_, &error_}) {
        std::array<char, 4096> piece{};
        long count = 1;
        while (end->reading && count > 0) {
            count = platform::posix::readSome(end->reading.get(), piece.data(), piece.size());
            end->text.append(piece.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        }
        // The end of a pipe; a terminal without a slave says EIO.
        if (end->reading && (count == 0 || (errno != EAGAIN && errno != EINTR))) {
            end->reading.reset();
        }
    }
}

bool ToolProcess::waitFor(const End& end, const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!end.text.contains(text)) {
        if (std::chrono::steady_clock::now() > deadline || !end.reading) {
            return false;
        }
        pump(100);
    }
    return true;
}

int ToolProcess::wait() {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            pump(0);
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        pump(10);
    }
    return -1;
}

} // namespace tool::test
