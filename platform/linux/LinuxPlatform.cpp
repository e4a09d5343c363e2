#include "platform/linux/LinuxPlatform.h"

#include "platform/appcast/ThisSystem.h"
#include "platform/linux/FindApplicationFolders.h"

#include <fmt/format.h>
#include <gtk/gtk.h>

#include <clocale>
#include <csignal>
#include <locale>

namespace platform {
namespace gtk {

LinuxPlatform::LinuxPlatform(const NativeOptions& options, const Environment& environment)
    : folders_(xdgFolders(environment, homeFolder(environment)))
    , applicationFolders_(findApplicationFolders(homeFolder(environment)))
    , log_(environment)
    , numberFormatter_(numericLocale(environment))
    , notificationCenter_(mainQueue_)
    , fileSystem_(folders_.dataHome)
    , host_(environment)
    , userDefaults_(folders_.configHome / options.applicationId, log_)
    , bundle_(runningExecutable(), log_)
    , loginService_({.applicationId = options.applicationId,
                     .name = bundle_.infoString("CFBundleName").value_or(options.applicationId),
                     .executable = bundle_.executablePath()},
                    folders_, environment, fileSystem_)
    , commandRunner_(environment)
    , childLauncher_(bundle_.executablePath().parent_path() / options.guardianExecutable,
                     [this](std::string_view trouble) { log_.write(trouble); })
    , application_(options.applicationId, folders_.dataHome / options.applicationId, log_)
    , alerts_(application_)
    , menuBar_(options.applicationId, application_, bundle_, log_)
    , workspace_(mainQueue_, log_)
    , webStorage_(folders_.dataHome / options.applicationId / "webkit",
                  folders_.cacheHome / options.applicationId / "webkit", fileSystem_, log_)
    , webWindows_(application_, webStorage_, userDefaults_)
    , updateHttp_({.authorities = options.updateAuthorities})
    , updateUi_([this](const std::string& url) { workspace_.openUrl(url); })
    , updateFramework_({.http = updateHttp_,
                        .mainQueue = mainQueue_,
                        .backgroundQueues = backgroundQueues_,
                        .clock = clock_,
                        .defaults = userDefaults_,
                        .notifications = notificationCenter_,
                        .application = application_,
                        .workspace = workspace_,
                        .ui = updateUi_,
                        .log = log_},
                       bundle_,
                       {.system = appcast::thisSystem(),
                        .isNewer = options.isNewerVersion,
                        .readInfo = [this](const std::filesystem::path& folder) {
                            return readInfoDictionary(folder, log_);
                        }}) {}

} // namespace gtk

namespace {

std::string describeVariable(const Environment& environment, const std::string& name) {
    const auto entry = environment.find(name);
    return entry == environment.end() || entry->second.empty()
               ? fmt::format("{} is not set", name)
               : fmt::format("{} is \"{}\"", name, entry->second);
}

std::string noDisplay(const Environment& environment) {
    const std::string x11 = describeVariable(environment, "DISPLAY");
    const std::string wayland = describeVariable(environment, "WAYLAND_DISPLAY");
    if (x11.ends_with("not set") && wayland.ends_with("not set")) {
        return "no usable display (DISPLAY and WAYLAND_DISPLAY are not set)";
    }
    return fmt::format("no usable display ({}, {})", x11, wayland);
}

// gtkmm makes the user's locale the global one of C++ too, with which streams
// would group digits.
void useLocaleForTextsOnly() {
    std::locale::global(std::locale::classic());
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_NUMERIC, "C");
}

} // namespace

std::expected<std::unique_ptr<NativePlatform>, std::string>
makeNativePlatform(const NativeOptions& options) {
    const Environment environment = currentEnvironment();
    std::signal(SIGPIPE, SIG_IGN);
    // Window managers find the desktop entry by this name.
    g_set_prgname(options.applicationId.c_str());
    if (gtk_init_check() == FALSE) {
        return std::unexpected(noDisplay(environment));
    }
    auto platform = std::make_unique<gtk::LinuxPlatform>(options, environment);
    useLocaleForTextsOnly();
    return platform;
}

} // namespace platform
