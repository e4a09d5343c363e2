#include "platform/appcast/HandOver.h"

#include "platform/ErrnoText.h"
#include "platform/posix/Deadline.h"
#include "platform/posix/Pipe.h"
#include "platform/posix/Reaping.h"
#include "platform/posix/Spawn.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <utility>

namespace platform::appcast {
namespace {

using posix::Deadline;
using posix::UniqueFd;

constexpr char readyByte = 'r';
constexpr char goingByte = 'g';
constexpr std::chrono::milliseconds betweenLooks{200}; // at a wish to give up
constexpr int firstOrdinary = 3;                       // descriptor
// One whose end of the socket is closed is on its way out; until then it has no status.
constexpr int endPatience = 1000; // milliseconds

// One byte of the other side's; nothing when there is none within the time, or ever: once its end
// is closed, or, where `exitWatch` is given, once it has ended.
std::optional<char> receive(int socket, const Deadline& deadline, int exitWatch = -1,
                            const std::function<bool()>& isCancelled = {}) {
    while (!deadline.isOver() && !(isCancelled && isCancelled())) {
        pollfd entries[] = {{.fd = socket, .events = POLLIN, .revents = 0},
                            {.fd = exitWatch, .events = POLLIN, .revents = 0}};
        if (!Deadline(betweenLooks).poll(entries)) {
            continue;
        }
        char byte = 0;
        const auto count = ::recv(socket, &byte, 1, MSG_DONTWAIT);
        if (count == 1) {
            return byte;
        }
        const bool mayFollow = count < 0 && (errno == EINTR || errno == EAGAIN);
        if (!mayFollow || entries[1].revents != 0) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

bool send(int socket, char byte) {
    ssize_t count = 0;
    do {
        count = ::send(socket, &byte, 1, MSG_NOSIGNAL);
    } while (count < 0 && errno == EINTR);
    return count == 1;
}

UniqueFd copyOf(int descriptor) {
    return UniqueFd(::fcntl(descriptor, F_DUPFD_CLOEXEC, firstOrdinary));
}

std::string howItHasEnded(const ExitStatus& status) {
    return status.signalled ? fmt::format("it was ended by signal {}", status.code)
                            : fmt::format("it ended with status {}", status.code);
}

} // namespace

std::expected<void, std::string> handOverTo(const std::filesystem::path& program,
                                            const Environment& environment,
                                            std::chrono::milliseconds patience,
                                            const std::function<bool()>& isCancelled) {
    const Deadline deadline(patience);
    const auto failed = [](int error) { return std::unexpected(errnoText(error)); };
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return failed(errno);
    }
    const UniqueFd ours(ends[0]);
    UniqueFd theirs = copyOf(ends[1]);
    ::close(ends[1]);
    auto variables = environment;
    variables[handOverVariable] = "1";
    const auto image = posix::ExecImage::make(program, {}, variables);
    if (!theirs || !image) {
        return failed(theirs ? image.error() : errno);
    }
    const UniqueFd output = copyOf(STDOUT_FILENO);
    const UniqueFd errorOutput = copyOf(STDERR_FILENO);
    auto spawned = posix::spawn({.image = &*image,
                                 .input = theirs.get(),
                                 .output = output.get(),
                                 .errorOutput = errorOutput.get(),
                                 .ownSession = true,
                                 .endWithThread = false});
    theirs.reset();
    if (!spawned) {
        return failed(spawned.error());
    }
    if (const auto error = spawned->awaitExec()) {
        posix::killAndReap(spawned->pid);
        return failed(*error);
    }
    const auto exitWatch = posix::watchChild(spawned->pid);
    if (!exitWatch) {
        posix::killAndReap(spawned->pid);
        return failed(exitWatch.error());
    }
    const auto word = receive(ours.get(), deadline, exitWatch->get(), isCancelled);
    const bool isGivenUp = isCancelled(); // by now, perhaps: it is asked only now and then
    if (!isGivenUp && word == readyByte && send(ours.get(), goingByte)) {
        return {};
    }
    const bool timedOut = isGivenUp || deadline.isOver();
    pollfd exited[] = {{.fd = exitWatch->get(), .events = POLLIN, .revents = 0}};
    const bool hasEnded = ::poll(exited, 1, timedOut ? 0 : endPatience) > 0;
    ::kill(-spawned->pid, SIGKILL);
    const auto status = posix::reap(spawned->pid);
    return std::unexpected(isGivenUp  ? "it was cancelled"
                           : hasEnded ? howItHasEnded(status)
                                      : "it did not take over");
}

Predecessor Predecessor::find() {
    if (std::getenv(handOverVariable) == nullptr) {
        return Predecessor(UniqueFd());
    }
    ::unsetenv(handOverVariable);
    int type = 0;
    socklen_t size = sizeof type;
    if (::getsockopt(STDIN_FILENO, SOL_SOCKET, SO_TYPE, &type, &size) != 0 || type != SOCK_STREAM) {
        return Predecessor(UniqueFd());
    }
    UniqueFd socket = copyOf(STDIN_FILENO);
    if (const auto nothing = posix::openNullDevice()) {
        ::dup2(nothing->get(), STDIN_FILENO);
    }
    return Predecessor(std::move(socket));
}

bool Predecessor::agreesToGo(std::chrono::milliseconds patience) {
    const UniqueFd socket = std::exchange(socket_, UniqueFd());
    return send(socket.get(), readyByte) && receive(socket.get(), Deadline(patience)) == goingByte;
}

} // namespace platform::appcast
