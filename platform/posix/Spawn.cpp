#include "platform/posix/Spawn.h"

#include "platform/posix/Pipe.h"
#include "platform/posix/ProgramStart.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>

namespace platform::posix {
namespace {

bool holdsNul(const std::string& text) {
    return text.find('\0') != std::string::npos;
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
    const pid_t pid = forkAndExec({
        .path = plan.image->path(),
        .arguments = plan.image->arguments(),
        .environment = plan.image->environment(),
        .standard = {orNothing(plan.input), orNothing(plan.output), orNothing(plan.errorOutput)},
        .verdict = verdict->writeEnd.get(),
        .gate = -1,
        .gateWriteEnd = -1,
        .descriptorLimit = descriptorLimit(),
        .parent = ::getpid(),
        .group = plan.group,
        .ownSession = plan.ownSession,
        .ignoreEverySignal = plan.ignoreEverySignal,
        .signalWhenParentDies = plan.endWithThread ? SIGTERM : 0,
    });
    if (pid < 0) {
        return std::unexpected(errno);
    }
    return Spawned{pid, std::move(verdict->readEnd)};
}

} // namespace platform::posix
