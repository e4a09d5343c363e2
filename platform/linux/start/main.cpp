// The executable of an application for the Linux desktop: starts the window program and only then
// loads the application, which lies beside it and takes twenty times as long. The window program is
// started when it is as good as certain that this launch shows a window; else the application
// decides. What this file starts and loads is given by the build.
#include "platform/Environment.h"
#include "platform/appcast/HandOver.h"
#include "platform/linux/DisplaySocket.h"
#include "platform/linux/WindowStartedFirst.h"
#include "platform/linux/XdgFolders.h"
#include "platform/posix/InstanceLock.h"
#include "platform/posix/ProcessEntry.h"

#include <dlfcn.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <utility>

namespace {

using platform::desktop::SpawnedWindow;

// A launch with arguments, or beside another one, may show nothing.
std::optional<SpawnedWindow> startWindow(int argumentCount, const std::filesystem::path& folder) {
    const platform::Environment environment = platform::currentEnvironment();
    const auto dataHome =
        platform::xdgFolders(environment, platform::homeFolder(environment)).dataHome;
    if (argumentCount > 1 || environment.contains(platform::appcast::handOverVariable) ||
        platform::desktop::displayTrouble(environment) ||
        platform::posix::InstanceLock::isHeld(dataHome / APPLICATION_ID)) {
        return std::nullopt;
    }
    platform::posix::putInheritanceRight();
    auto spawned =
        platform::desktop::spawnWindow(folder / WINDOW_PROGRAM, {APPLICATION_ID}, environment);
    return spawned ? std::optional(std::move(*spawned)) : std::nullopt;
}

int cannotStart(const char* why) {
    std::fprintf(stderr, "%s cannot start: %s\n", APPLICATION_NAME, why);
    return 1;
}

} // namespace

int main(int count, char** arguments) {
    std::optional<SpawnedWindow> window;
    std::filesystem::path folder;
    try {
        folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
        window = startWindow(count, folder);
    } catch (const std::exception& error) {
        return cannotStart(error.what());
    }
    void* const application = ::dlopen((folder / APPLICATION_MODULE).c_str(), RTLD_LAZY);
    if (application == nullptr) { // the window program ends with this one
        return cannotStart(::dlerror());
    }
    if (window) {
        const auto take = reinterpret_cast<decltype(&zorvaneWindowWasStarted)>(
            ::dlsym(application, platform::desktop::windowWasStartedName));
        take(window->pid, window->socket.release());
    }
    using Main = int (*)(int, char**);
    return reinterpret_cast<Main>(::dlsym(application, "main"))(count, arguments);
}
