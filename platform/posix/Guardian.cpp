#include "platform/posix/Guardian.h"

#include "platform/posix/Pipe.h"
#include "platform/posix/Reaping.h"
#include "platform/posix/Spawn.h"

#include <algorithm>
#include <csignal>
#include <string>
#include <utility>

namespace platform::posix {
namespace {

// Not killAndReap: the group belongs to the child that is guarded.
int abandon(pid_t guardian, int error) {
    ::kill(guardian, SIGKILL);
    reap(guardian);
    return error;
}

} // namespace

std::expected<Guardian, int> startGuardian(const GuardianPlan& plan, pid_t group) {
    const auto grace = std::max(plan.grace, std::chrono::milliseconds(0));
    const auto image =
        ExecImage::make(plan.executable, {"--grace-ms", std::to_string(grace.count())}, {});
    if (!image) {
        return std::unexpected(image.error());
    }
    auto lifeline = makePipe();
    if (!lifeline) {
        return std::unexpected(lifeline.error());
    }
    // Deaf to signals from the moment it exists, so that none sent to the group ends it.
    auto spawned = spawn({.image = &*image,
                          .input = lifeline->readEnd.get(),
                          .group = group,
                          .ignoreEverySignal = true,
                          .endWithThread = false});
    if (!spawned) {
        return std::unexpected(spawned.error());
    }
    if (const auto error = spawned->awaitExec()) {
        return std::unexpected(abandon(spawned->pid, *error));
    }
    auto watch = watchChild(spawned->pid);
    if (!watch) {
        return std::unexpected(abandon(spawned->pid, watch.error()));
    }
    return Guardian{spawned->pid, std::move(lifeline->writeEnd), std::move(*watch)};
}

} // namespace platform::posix
