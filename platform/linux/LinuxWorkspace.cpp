#include "platform/linux/LinuxWorkspace.h"

#include "platform/linux/FolderBundle.h"
#include "platform/linux/GObjectPtr.h"

#include <fmt/format.h>
#include <gio/gio.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <optional>
#include <utility>

namespace platform::desktop {
namespace {

struct Opening {
    std::string url;
    Log& log;
};

void onOpened(GObject* /*source*/, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Opening> opening(static_cast<Opening*>(data));
    GError* error = nullptr;
    if (g_app_info_launch_default_for_uri_finish(result, &error) == FALSE) {
        const gtk::GErrorPtr failure(error);
        opening->log.write(fmt::format("cannot open {}: {}", opening->url, failure->message));
    }
}

void leaveTheSession(gpointer /*data*/) {
    ::setsid();
}

// The executable that the bundle's Info dictionary names.
std::optional<std::filesystem::path> executableOf(const std::filesystem::path& bundle, Log& log) {
    const std::filesystem::path folder = bundle / "Contents/MacOS";
    const FolderBundle info(folder / "executable", log);
    const auto name = info.infoString("CFBundleExecutable");
    return name ? FolderBundle(folder / "executable", log).auxiliaryExecutable(*name)
                : std::nullopt;
}

// Nothing when it was started, else why not.
std::string start(const std::filesystem::path& executable) {
    using Variables = std::unique_ptr<char*, decltype(&g_strfreev)>;
    const Variables environment(g_environ_setenv(g_get_environ(), newInstanceVariable, "1", TRUE),
                                &g_strfreev);
    std::string path = executable.string();
    std::array<char*, 2> arguments = {path.data(), nullptr};
    GError* error = nullptr;
    // Without a process id GLib forks twice, and init is the parent of what was started.
    if (g_spawn_async(nullptr, arguments.data(), environment.get(), G_SPAWN_DEFAULT,
                      leaveTheSession, nullptr, nullptr, &error) != FALSE) {
        return {};
    }
    const gtk::GErrorPtr failure(error);
    return failure->message;
}

} // namespace

void LinuxWorkspace::openUrl(const std::string& url) {
    const gtk::GObjectPtr<GAppLaunchContext> context(g_app_launch_context_new());
    const std::string token = tokens_.take();
    for (const char* name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
        // What came with this application's own launch is nobody else's.
        if (token.empty()) {
            g_app_launch_context_unsetenv(context.get(), name);
        } else {
            g_app_launch_context_setenv(context.get(), name, token.c_str());
        }
    }
    g_app_info_launch_default_for_uri_async(url.c_str(), context.get(), nullptr, onOpened,
                                            std::make_unique<Opening>(url, log_).release());
}

void LinuxWorkspace::openNewInstance(const std::filesystem::path& bundle,
                                     std::function<void(OpenResult)> completion) {
    OpenResult result;
    if (const auto executable = executableOf(bundle, log_)) {
        result.error = start(*executable);
    } else {
        result.error = fmt::format("{} has no executable", bundle.string());
    }
    result.launched = result.error.empty();
    mainQueue_.post([done = std::move(completion), result = std::move(result)] { done(result); });
}

} // namespace platform::desktop
