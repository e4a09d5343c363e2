#include "platform/posix/Spawn.h"

#include "platform/posix/Pipe.h"
#include "platform/posix/ProcessSystem.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <utility>

namespace platform::posix {
namespace {

constexpr int cannotExecute = 127; // what shells exit with

bool holdsNul(const std::string& text) {
    return text.find('\0') != std::string::npos;
}

// Everything the child needs between fork and exec, by value, worked out beforehand.
struct ChildSide {
    const char* path;
    char* const* arguments;
    char* const* environment;
    int standard[3];
    int verdict;
    int gate;
    int gateWriteEnd;
    int descriptorLimit;
    pid_t parent;
    pid_t group;
    bool ignoreEverySignal;
    bool endWithThread;
};

[[noreturn]] void giveUp(const ChildSide& side, int error) noexcept {
    // Best effort: the exit code remains when even this cannot be told.
    [[maybe_unused]] const ssize_t written = ::write(side.verdict, &error, sizeof error);
    ::_exit(cannotExecute);
}

bool arrangeDescriptors(const ChildSide& side) noexcept {
    for (int target = 0; target < 3; ++target) {
        if (::dup2(side.standard[target], target) < 0) {
            return false;
        }
    }
    // A gate can only close if this copy of its other end does.
    if (side.gateWriteEnd >= 0) {
        ::close(side.gateWriteEnd);
    }
    const int low = side.gate < 0 ? side.verdict : std::min(side.gate, side.verdict);
    const int high = std::max(side.gate, side.verdict);
    closeDescriptors(3, low - 1, side.descriptorLimit);
    closeDescriptors(low + 1, high - 1, side.descriptorLimit);
    closeDescriptors(high + 1, INT_MAX, side.descriptorLimit);
    return true;
}

// Handlers go before the mask does, so that none of this program's ever runs in the child.
void resetSignals(bool ignore) noexcept {
    struct sigaction action = {};
    action.sa_handler = ignore ? SIG_IGN : SIG_DFL;
    sigemptyset(&action.sa_mask);
    for (int number = 1; number < NSIG; ++number) {
        ::sigaction(number, &action, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

void waitAtGate(int gate) noexcept {
    char byte = 0;
    ssize_t count = 0;
    do {
        count = ::read(gate, &byte, 1);
    } while (count < 0 && errno == EINTR);
    if (count != 1) {
        ::_exit(cannotExecute);
    }
}

[[noreturn]] void becomeProgram(const ChildSide& side) noexcept {
    if (::setpgid(0, side.group) != 0 || !arrangeDescriptors(side)) {
        giveUp(side, errno);
    }
    resetSignals(side.ignoreEverySignal);
    if (side.endWithThread && !askToBeToldWhenParentDies(side.parent)) {
        ::_exit(cannotExecute);
    }
    if (side.gate >= 0) {
        waitAtGate(side.gate);
    }
    ::execve(side.path, side.arguments, side.environment);
    giveUp(side, errno);
}

int descriptorLimit() {
    struct rlimit limit = {};
    constexpr rlim_t most = 1 << 20;
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur > most) {
        return static_cast<int>(most);
    }
    return static_cast<int>(limit.rlim_cur);
}

// Forks with every signal held back, so that a handler of this program cannot run in the child.
pid_t forkQuietly(const ChildSide& side) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t pid = ::fork();
    if (pid == 0) {
        becomeProgram(side);
    }
    const int error = errno;
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return pid;
}

} // namespace

std::expected<ExecImage, int> ExecImage::make(const std::filesystem::path& executable,
                                              const std::vector<std::string>& arguments,
                                              const Environment& environment) {
    ExecImage image;
    image.strings.reserve(1 + arguments.size() + environment.size());
    image.strings.push_back(executable.native());
    image.strings.insert(image.strings.end(), arguments.begin(), arguments.end());
    for (const auto& [name, value] : environment) {
        if (name.empty() || name.find('=') != std::string::npos) {
            return std::unexpected(EINVAL);
        }
        std::string& entry = image.strings.emplace_back(name);
        entry += '=';
        entry += value;
    }
    if (std::ranges::any_of(image.strings, holdsNul)) {
        return std::unexpected(EINVAL);
    }
    for (std::size_t index = 0; index < image.strings.size(); ++index) {
        auto& pointers =
            index <= arguments.size() ? image.argumentPointers : image.environmentPointers;
        pointers.push_back(image.strings[index].data());
    }
    image.argumentPointers.push_back(nullptr);
    image.environmentPointers.push_back(nullptr);
    return image;
}

std::optional<int> Spawned::awaitExec() {
    int error = 0;
    const long count = readSome(verdict.get(), reinterpret_cast<char*>(&error), sizeof error);
    verdict.reset();
    if (count == static_cast<long>(sizeof error)) {
        return error;
    }
    return std::nullopt;
}

std::expected<Spawned, int> spawn(const SpawnPlan& plan) {
    auto verdict = makePipe();
    if (!verdict) {
        return std::unexpected(verdict.error());
    }
    auto nothing = openNullDevice();
    if (!nothing) {
        return std::unexpected(nothing.error());
    }
    const auto orNothing = [&](int descriptor) {
        return descriptor >= 0 ? descriptor : nothing->get();
    };
    const ChildSide side{
        .path = plan.image->path(),
        .arguments = plan.image->arguments(),
        .environment = plan.image->environment(),
        .standard = {orNothing(plan.input), orNothing(plan.output), orNothing(plan.errorOutput)},
        .verdict = verdict->writeEnd.get(),
        .gate = plan.gate,
        .gateWriteEnd = plan.gateWriteEnd,
        .descriptorLimit = descriptorLimit(),
        .parent = ::getpid(),
        .group = plan.group,
        .ignoreEverySignal = plan.ignoreEverySignal,
        .endWithThread = plan.endWithThread,
    };
    const pid_t pid = forkQuietly(side);
    if (pid < 0) {
        return std::unexpected(errno);
    }
    // The child does the same: whoever comes first, the group exists for both.
    ::setpgid(pid, plan.group == 0 ? pid : plan.group);
    return Spawned{pid, std::move(verdict->readEnd)};
}

} // namespace platform::posix
