#include "platform/posix/Guardian.h"

#include "platform/posix/Pipe.h"
#include "platform/posix/Reaping.h"
#include "platform/posix/Socket.h"
#include "platform/posix/Spawn.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <string>
#include <utility>

namespace platform::posix {
namespace {

using ReportKind = GuardianReport::Kind;

std::expected<Pipe, int> makeSocketPair() {
    int ends[2] = {-1, -1};
    if (makeStreamSocketPair(ends) != 0) {
        return std::unexpected(errno);
    }
    UniqueFd lowOurs(ends[0]);
    UniqueFd lowTheirs(ends[1]);
    auto ours = aboveStandardDescriptors(std::move(lowOurs));
    if (!ours) {
        return std::unexpected(ours.error());
    }
    auto theirs = aboveStandardDescriptors(std::move(lowTheirs));
    if (!theirs) {
        return std::unexpected(theirs.error());
    }
    return Pipe{std::move(*theirs), std::move(*ours)};
}

// The program as it crosses the socket.
std::string orderFor(const ExecImage& image) {
    GuardianOrder order;
    std::string strings;
    const auto append = [&strings](char* const* list, std::uint32_t& count) {
        for (; *list != nullptr; ++list, ++count) {
            strings.append(*list);
            strings.push_back('\0');
        }
    };
    append(image.arguments(), order.arguments);
    append(image.environment(), order.variables);
    order.bytes = strings.size();
    std::string message(reinterpret_cast<const char*>(&order), sizeof order);
    return message += strings;
}

// Blocks; nothing when the guardian is gone.
std::optional<GuardianReport> nextReport(int socket) {
    GuardianReport report;
    char* const bytes = reinterpret_cast<char*>(&report);
    std::size_t have = 0;
    while (have < sizeof report) {
        const long count = readSome(socket, bytes + have, sizeof report - have);
        if (count <= 0) {
            return std::nullopt;
        }
        have += static_cast<std::size_t>(count);
    }
    return report;
}

// A guardian that is killed and reaped unless it is handed over; its child goes with it.
class Unfinished {
  public:
    Unfinished(pid_t guardian, UniqueFd end)
        : pid(guardian)
        , socket(std::move(end)) {}
    Unfinished(const Unfinished&) = delete;
    Unfinished& operator=(const Unfinished&) = delete;
    ~Unfinished() {
        if (pid > 0) {
            // The end of the stream makes it kill what it holds, and end.
            socket.reset();
            reap(pid);
        }
    }
    [[nodiscard]] Guardian handOver() {
        setNonBlocking(socket.get());
        return {std::exchange(pid, -1), std::move(socket)};
    }

    pid_t pid;
    UniqueFd socket;
};

} // namespace

void Guardian::command(GuardianCommand command) const {
    [[maybe_unused]] const bool sent = sendAll(socket.get(), &command, sizeof command);
    wakeUp();
}

void Guardian::wakeUp() const {
    ::kill(pid, SIGCONT);
}

std::optional<ExitStatus> Guardian::readExit(bool& ended) const {
    GuardianReport report;
    const long count = readSome(socket.get(), reinterpret_cast<char*>(&report), sizeof report);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        return std::nullopt;
    }
    // It writes one report at once and nothing after it.
    const bool whole = count == static_cast<long>(sizeof report);
    ended = !whole;
    return whole && report.kind == ReportKind::exited ? std::optional(describedStatus(report.value))
                                                      : std::nullopt;
}

std::expected<GuardedChild, LaunchError> startGuarded(const GuardedStart& start) {
    const ChildOptions& options = start.options;
    const auto cannotStart = [&](int error) {
        return std::unexpected(LaunchError{"cannot start " + options.executable.native(), error});
    };
    const auto cannotGuard = [&](int error) {
        return std::unexpected(
            LaunchError{"cannot start the guardian " + start.guardian.native(), error});
    };
    const auto program =
        ExecImage::make(options.executable, options.arguments, options.environment);
    if (!program) {
        return cannotStart(program.error());
    }
    const auto grace = std::max(options.guardianGrace, std::chrono::milliseconds(0));
    const auto image =
        ExecImage::make(start.guardian, {"--grace-ms", std::to_string(grace.count())}, {});
    if (!image) {
        return cannotGuard(image.error());
    }
    auto sockets = makeSocketPair();
    if (!sockets) {
        return cannotStart(sockets.error());
    }
    // Deaf to signals from the moment it exists, so that none sent to our group ends it.
    auto spawned = spawn({.image = &*image,
                          .input = sockets->readEnd.get(),
                          .output = start.outputWriteEnd,
                          .errorOutput = start.outputReadEnd,
                          .ignoreEverySignal = true,
                          .endWithThread = false});
    if (!spawned) {
        return cannotStart(spawned.error());
    }
    Unfinished guardian(spawned->pid, std::move(sockets->writeEnd));
    sockets->readEnd.reset();
    if (const auto error = spawned->awaitExec()) {
        return cannotGuard(*error);
    }
    const std::string order = orderFor(*program);
    if (!sendAll(guardian.socket.get(), order.data(), order.size())) {
        return cannotGuard(errno);
    }
    const auto held = nextReport(guardian.socket.get());
    if (!held || held->kind != ReportKind::held) {
        return held ? cannotStart(held->value) : cannotGuard(EPIPE);
    }
    auto watch = watchChild(held->value);
    if (!watch) {
        return cannotStart(watch.error());
    }
    const auto run = GuardianCommand::run;
    if (!sendAll(guardian.socket.get(), &run, sizeof run)) {
        return cannotGuard(errno);
    }
    const auto running = nextReport(guardian.socket.get());
    if (!running || running->kind != ReportKind::running) {
        return running ? cannotStart(running->value) : cannotGuard(EPIPE);
    }
    return GuardedChild{held->value, std::move(*watch), guardian.handOver()};
}

} // namespace platform::posix
