#include "platform/posix/PosixCommandRunner.h"

#include "platform/posix/Deadline.h"
#include "platform/posix/Pipe.h"
#include "platform/posix/Reaping.h"
#include "platform/posix/Spawn.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <optional>
#include <utility>

namespace platform {
namespace {

using posix::Deadline;
using posix::ExecImage;
using posix::UniqueFd;

// A running program, its standard output and the end of its standard error that nobody reads. It
// is killed with its group and reaped by the destructor at the latest.
class Program {
  public:
    static std::expected<Program, int> start(const ExecImage& image);

    Program(Program&& other) noexcept
        : pid(std::exchange(other.pid, -1))
        , output(std::move(other.output))
        , errorOutput(std::move(other.errorOutput))
        , exitWatch(std::move(other.exitWatch)) {}
    Program& operator=(Program&&) = delete;
    ~Program() {
        if (pid > 0) {
            posix::killAndReap(pid);
        }
    }

    // Collects output up to `most` bytes until the program has exited; false when the deadline
    // came first.
    [[nodiscard]] bool collect(std::string& text, std::size_t most, const Deadline& deadline);
    // Once the program has exited: kills what it left in its group and takes the last output.
    [[nodiscard]] ExitStatus finish(std::string& text, std::size_t most);
    [[nodiscard]] bool hasMoreOutput() const { return posix::bytesWaiting(output.get()) > 0; }

  private:
    explicit Program(pid_t child)
        : pid(child) {}

    [[nodiscard]] bool readInto(std::string& text, std::size_t most) const;

    pid_t pid;
    UniqueFd output;
    UniqueFd errorOutput;
    UniqueFd exitWatch;
};

std::expected<Program, int> Program::start(const ExecImage& image) {
    auto out = posix::makePipe();
    if (!out) {
        return std::unexpected(out.error());
    }
    auto err = posix::makePipe();
    if (!err) {
        return std::unexpected(err.error());
    }
    auto spawned = posix::spawn(
        {.image = &image, .output = out->writeEnd.get(), .errorOutput = err->writeEnd.get()});
    if (!spawned) {
        return std::unexpected(spawned.error());
    }
    Program program(spawned->pid);
    auto watch = posix::watchChild(program.pid);
    if (!watch) {
        return std::unexpected(watch.error());
    }
    program.exitWatch = std::move(*watch);
    if (const auto error = spawned->awaitExec()) {
        return std::unexpected(*error);
    }
    program.output = std::move(out->readEnd);
    program.errorOutput = std::move(err->readEnd);
    posix::setNonBlocking(program.output.get());
    return program;
}

// False at the end of the output, and when nothing waits or nothing more is wanted.
bool Program::readInto(std::string& text, std::size_t most) const {
    std::array<char, 16384> piece;
    const auto wanted = std::min(piece.size(), most - text.size());
    const long count = wanted == 0 ? 0 : posix::readSome(output.get(), piece.data(), wanted);
    if (count > 0) {
        text.append(piece.data(), static_cast<std::size_t>(count));
    }
    return count > 0;
}

bool Program::collect(std::string& text, std::size_t most, const Deadline& deadline) {
    bool wantsOutput = true;
    do {
        // poll(2) leaves out an entry whose descriptor is negative.
        pollfd watched[] = {
            {.fd = exitWatch.get(), .events = POLLIN, .revents = 0},
            {.fd = wantsOutput ? output.get() : -1, .events = POLLIN, .revents = 0},
        };
        if (!deadline.poll(watched)) {
            continue;
        }
        if (watched[0].revents != 0) {
            return true;
        }
        wantsOutput = readInto(text, most) && text.size() < most;
    } while (!deadline.isOver());
    return false;
}

ExitStatus Program::finish(std::string& text, std::size_t most) {
    posix::awaitExitWithoutReaping(pid);
    ::kill(-pid, SIGKILL);
    // Only what waits now: somebody who left the group with the pipe may write for ever.
    const auto last = text.size() + posix::bytesWaiting(output.get());
    while (readInto(text, std::min(most, last))) {
    }
    return posix::reap(std::exchange(pid, -1));
}

CommandError failure(CommandError::Kind kind, std::string description) {
    return {kind, std::move(description)};
}

} // namespace

std::expected<CommandResult, CommandError>
PosixCommandRunner::run(const std::filesystem::path& executable,
                        const std::vector<std::string>& arguments,
                        std::chrono::milliseconds timeout, std::size_t maxOutput) {
    using Kind = CommandError::Kind;
    const Deadline deadline(timeout);
    const auto notStarted = [&](int error) {
        const LaunchError launch{"cannot start " + executable.native(), error};
        return std::unexpected(failure(Kind::notStarted, launch.description()));
    };
    const auto image = ExecImage::make(executable, arguments, environment);
    if (!image) {
        return notStarted(image.error());
    }
    auto program = Program::start(*image);
    if (!program) {
        return notStarted(program.error());
    }
    CommandResult result;
    const bool exited = program->collect(result.output, maxOutput, deadline);
    if (exited) {
        result.status = program->finish(result.output, maxOutput);
    }
    if (result.output.size() >= maxOutput && program->hasMoreOutput()) {
        return std::unexpected(
            failure(Kind::tooMuchOutput,
                    fmt::format("{} printed more than {} bytes", executable.native(), maxOutput)));
    }
    if (!exited) {
        return std::unexpected(
            failure(Kind::timedOut, fmt::format("{} did not finish within {} ms",
                                                executable.native(), timeout.count())));
    }
    return result;
}

} // namespace platform
