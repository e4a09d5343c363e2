#include "platform/posix/PosixChildLauncher.h"

#include "platform/posix/ChildSessions.h"
#include "platform/posix/Guardian.h"
#include "platform/posix/Pipe.h"
#include "platform/posix/ProcessSystem.h"

#include <string>
#include <system_error>
#include <utility>

namespace platform {
namespace {

using posix::Pipe;

LaunchError cannotStart(const std::filesystem::path& executable, int error) {
    return {"cannot start " + executable.native(), error};
}

std::string markIn(const ChildOptions& options) {
    const auto entry = options.environment.find(options.markVariable);
    return entry == options.environment.end() ? std::string() : entry->first + '=' + entry->second;
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
    auto child = posix::startGuarded({.guardian = guardianExecutable,
                                      .options = options,
                                      .outputWriteEnd = output.writeEnd.get(),
                                      .outputReadEnd = output.readEnd.get()});
    if (!child) {
        return std::unexpected(child.error());
    }
    auto state = std::make_shared<posix::ChildState>(std::move(*child));
    auto callbacks = std::make_shared<posix::ChildCallbacks>(
        std::move(options.onOutput), std::move(options.onExit), servingThread);
    auto handle = std::make_shared<posix::PosixChildProcess>(state, callbacks);
    sessions->serve({.state = std::move(state),
                     .callbacks = std::move(callbacks),
                     .output = std::move(output.readEnd),
                     .mark = markIn(options)});
    return handle;
}

} // namespace platform
