#include "platform/posix/PosixChildLauncher.h"

#include "platform/posix/ChildSessions.h"
#include "platform/posix/Pipe.h"
#include "platform/posix/ProcessSystem.h"
#include "platform/posix/Reaping.h"
#include "platform/posix/Spawn.h"

#include <unistd.h>

#include <csignal>
#include <optional>
#include <system_error>
#include <utility>

namespace platform {
namespace {

using posix::ExecImage;
using posix::Guardian;
using posix::GuardianPlan;
using posix::Pipe;
using posix::UniqueFd;

LaunchError cannotStart(const std::filesystem::path& executable, int error) {
    return {"cannot start " + executable.native(), error};
}

LaunchError cannotGuard(const std::filesystem::path& guardian, int error) {
    return {"cannot start the guardian " + guardian.native(), error};
}

struct Started {
    pid_t pid = -1;
    UniqueFd exitWatch;
    std::optional<Guardian> guardian;
};

// A child that is killed and reaped unless it is handed over.
class Unfinished {
  public:
    explicit Unfinished(pid_t child)
        : pid(child) {}
    Unfinished(const Unfinished&) = delete;
    Unfinished& operator=(const Unfinished&) = delete;
    ~Unfinished() {
        if (pid > 0) {
            // The whole group, so that a guardian in it ends too; that one is reaped first, while
            // the group's id is still ours.
            ::kill(-pid, SIGKILL);
            if (guardian) {
                posix::reap(guardian->pid);
            }
            posix::killAndReap(pid);
        }
    }

    [[nodiscard]] Started handOver(UniqueFd exitWatch) {
        return {std::exchange(pid, -1), std::move(exitWatch), std::move(guardian)};
    }

    pid_t pid;
    std::optional<Guardian> guardian;
};

// With a guardian the child is forked first and held at a gate until the guardian watches over
// its group; if this process dies in between, the gate closes and the child exits.
std::expected<Started, LaunchError> start(const ChildOptions& options, int output,
                                          const std::optional<GuardianPlan>& plan) {
    const auto failure = [&](int error) {
        return std::unexpected(cannotStart(options.executable, error));
    };
    const auto image = ExecImage::make(options.executable, options.arguments, options.environment);
    if (!image) {
        return failure(image.error());
    }
    Pipe gate;
    if (plan) {
        auto pipe = posix::makePipe();
        if (!pipe) {
            return failure(pipe.error());
        }
        gate = std::move(*pipe);
    }
    auto spawned = posix::spawn({.image = &*image,
                                 .output = output,
                                 .errorOutput = output,
                                 .gate = gate.readEnd.get(),
                                 .gateWriteEnd = gate.writeEnd.get()});
    if (!spawned) {
        return failure(spawned.error());
    }
    Unfinished child(spawned->pid);
    auto exitWatch = posix::watchChild(child.pid);
    if (!exitWatch) {
        return failure(exitWatch.error());
    }
    if (plan) {
        auto guardian = posix::startGuardian(*plan, child.pid);
        if (!guardian) {
            return std::unexpected(cannotGuard(plan->executable, guardian.error()));
        }
        child.guardian = std::move(*guardian);
        // Our copy of the gate's other end is still open: no SIGPIPE if the child is gone.
        [[maybe_unused]] const ssize_t opened = ::write(gate.writeEnd.get(), "", 1);
    }
    if (const auto error = spawned->awaitExec()) {
        return failure(*error);
    }
    return child.handOver(std::move(*exitWatch));
}

} // namespace

PosixChildLauncher::PosixChildLauncher(std::filesystem::path guardian,
                                       std::function<void(std::string_view)> onTrouble)
    : guardianExecutable(std::move(guardian))
    , sessions(std::make_unique<posix::ChildSessions>(onTrouble ? std::move(onTrouble)
                                                                : [](std::string_view) {})) {}

PosixChildLauncher::~PosixChildLauncher() = default;

std::expected<std::shared_ptr<ChildProcess>, LaunchError>
PosixChildLauncher::launch(ChildOptions options) {
    std::thread::id servingThread;
    try {
        servingThread = sessions->thread().id();
    } catch (const std::system_error& error) {
        return std::unexpected(cannotStart(options.executable, error.code().value()));
    }
    Pipe output;
    if (options.onOutput) {
        auto pipe = posix::makePipe();
        if (!pipe) {
            return std::unexpected(cannotStart(options.executable, pipe.error()));
        }
        output = std::move(*pipe);
        posix::setNonBlocking(output.readEnd.get());
        posix::enlargePipe(output.readEnd.get());
    }
    std::optional<GuardianPlan> plan;
    if (options.guardianGrace) {
        plan = GuardianPlan{guardianExecutable, *options.guardianGrace};
    }
    auto started = start(options, output.writeEnd.get(), plan);
    if (!started) {
        return std::unexpected(started.error());
    }
    auto state = std::make_shared<posix::ChildState>(started->pid, std::move(started->exitWatch));
    auto callbacks = std::make_shared<posix::ChildCallbacks>(
        std::move(options.onOutput), std::move(options.onExit), servingThread);
    auto handle = std::make_shared<posix::PosixChildProcess>(state, callbacks);
    sessions->serve({.state = std::move(state),
                     .callbacks = std::move(callbacks),
                     .output = std::move(output.readEnd),
                     .guardian = std::move(started->guardian),
                     .guardianPlan = plan.value_or(GuardianPlan{})});
    return handle;
}

} // namespace platform
