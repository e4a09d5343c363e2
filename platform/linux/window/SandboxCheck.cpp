#include "platform/linux/window/SandboxCheck.h"

#include "platform/Environment.h"
#include "platform/ErrnoText.h"
#include "platform/Utf8.h"
#include "platform/posix/Deadline.h"
#include "platform/posix/Pipe.h"
#include "platform/posix/Reaping.h"
#include "platform/posix/Spawn.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <utility>

namespace platform::gtk {
namespace {

// The one that the web engine runs, and the part of the engine's request that a system refuses.
constexpr const char* bubblewrap = "/usr/bin/bwrap";
constexpr std::chrono::seconds patience{2};
// Bubblewrap is two processes, of which the second waits for the first for ever, also when that one
// was ended. So a third starts them, which passes an end on to both, and ends them by itself if
// nobody is left to do it.
constexpr const char* starter = "/usr/bin/timeout";
constexpr const char* longestLife = "4";
constexpr int notFound = 127; // what it exits with
constexpr std::size_t longestComplaint = 500;

// Who was killed says nothing about namespaces: bubblewrap itself, or the half of it that is
// inside.
bool wasKilled(const ExitStatus& status) {
    constexpr int signalled = 128; // as shells have it
    return status.code == (status.signalled ? SIGKILL : signalled + SIGKILL);
}

std::string oneLine(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return std::string(trimmed(prefixOfWholeCharacters(text, longestComplaint)));
}

} // namespace

SandboxCheck::SandboxCheck() {
    const auto image =
        posix::ExecImage::make(starter,
                               {"--signal=KILL", longestLife, bubblewrap, "--unshare-user",
                                "--ro-bind", "/", "/", "/bin/true"},
                               currentEnvironment());
    auto pipe = posix::makePipe();
    if (!image || !pipe) {
        trouble_ = "cannot start bubblewrap";
        finished_ = true;
        return;
    }
    auto spawned = posix::spawn({.image = &*image, .errorOutput = pipe->writeEnd.get()});
    if (!spawned) {
        trouble_ = "cannot start bubblewrap: " + errnoText(spawned.error());
        finished_ = true;
        return;
    }
    child_ = spawned->pid;
    if (const auto error = spawned->awaitExec()) {
        trouble_ = "cannot start bubblewrap: " + errnoText(*error);
        finished_ = true;
    }
    complaint_ = std::move(pipe->readEnd);
}

SandboxCheck::~SandboxCheck() {
    if (child_ > 0) {
        posix::killAndReap(child_);
    }
}

const std::optional<std::string>& SandboxCheck::trouble() {
    if (!finished_) {
        finished_ = true;
        trouble_ = finish();
    }
    return trouble_;
}

std::optional<std::string> SandboxCheck::finish() {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::string said;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd entry{.fd = complaint_.get(), .events = POLLIN, .revents = 0};
        const int ready =
            ::poll(&entry, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            return "bubblewrap does not answer";
        }
        std::array<char, 256> buffer{};
        const ssize_t count = ::read(complaint_.get(), buffer.data(), buffer.size());
        if (count <= 0) {
            break;
        }
        if (said.size() < longestComplaint) {
            said.append(buffer.data(), static_cast<std::size_t>(count));
        }
    }
    const ExitStatus status = posix::reap(std::exchange(child_, -1));
    if (status.succeeded() || (wasKilled(status) && said.empty())) {
        return std::nullopt;
    }
    if (!status.signalled && status.code == notFound) {
        return "cannot start bubblewrap";
    }
    const std::string line = oneLine(said);
    return line.empty() ? "bubblewrap failed" : line;
}

} // namespace platform::gtk
