#include "platform/linux/LinuxPlatform.h"

#include "platform/appcast/ThisSystem.h"
#include "platform/linux/DisplaySocket.h"
#include "platform/linux/FindApplicationFolders.h"
#include "platform/linux/GlibThreads.h"
#include "platform/linux/Launcher.h"
#include "platform/posix/ProcessEntry.h"

#include <fmt/format.h>
#include <glib.h>

#include <algorithm>
#include <clocale>
#include <stdexcept>
#include <system_error>

namespace platform {
namespace desktop {
namespace {

// What the desktop gave this launch is not the next one's. A user who quits meanwhile, or whose
// session ends, is not followed: the end may take longer than the new version needs to take over.
appcast::StartSuccessor successorWith(Environment environment,
                                      const LinuxApplication& application) {
    for (const char* name :
         {"DESKTOP_AUTOSTART_ID", "DESKTOP_STARTUP_ID", "XDG_ACTIVATION_TOKEN"}) {
        environment.erase(name);
    }
    return [environment = std::move(environment),
            &application](const std::filesystem::path& program, std::chrono::milliseconds patience,
                          const std::function<bool()>& isCancelled) {
        return appcast::handOverTo(program, environment, patience,
                                   [&] { return application.isEnding() || isCancelled(); });
    };
}

std::filesystem::path besideThisProgram(const std::string& name) {
    return runningExecutable().parent_path() / name;
}

WindowHost::About aboutOf(const Bundle& bundle, const std::string& applicationId) {
    const std::string version = bundle.infoString("CFBundleShortVersionString").value_or("");
    const std::string build = bundle.infoString("CFBundleVersion").value_or("");
    const auto folder = bundle.resourcesPath();
    return {.name = bundle.infoString("CFBundleName").value_or(applicationId),
            .version = build.empty() ? version : fmt::format("{} ({})", version, build),
            .copyright = bundle.infoString("NSHumanReadableCopyright").value_or(""),
            .iconFolder = folder ? (*folder / "icons").string() : std::string()};
}

bool isBelow(const std::filesystem::path& path, const std::filesystem::path& folder) {
    return std::ranges::mismatch(folder, path).in1 == folder.end();
}

// A package brings its own launcher, and what lies elsewhere has none.
bool needsALauncher(const Bundle& bundle, const ApplicationFolders& folders) {
    const auto path = bundle.bundlePath();
    return path && (isBelow(*path, folders.system) || isBelow(*path, folders.user));
}

} // namespace

LinuxPlatform::LinuxPlatform(const NativeOptions& options, const Environment& environment,
                             appcast::Predecessor predecessor)
    : applicationId_(options.applicationId)
    , folders_(xdgFolders(environment, homeFolder(environment)))
    , log_(environment)
    , windows_({.executable = besideThisProgram(options.windowExecutable),
                .applicationId = options.applicationId,
                .environment = environment},
               log_)
    , trouble_([&]() -> std::optional<std::string> {
        // A second launch shows nothing itself.
        if (!predecessor.isThere() &&
            InstanceLock::isHeld(folders_.dataHome / options.applicationId)) {
            return std::nullopt;
        }
        const auto started = windows_.startAhead();
        return started ? std::nullopt : std::optional(started.error().description());
    }())
    , applicationFolders_(findApplicationFolders(homeFolder(environment)))
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
    , childLauncher_(besideThisProgram(options.guardianExecutable),
                     [this](std::string_view trouble) { log_.write(trouble); })
    , application_(options.applicationId, folders_.dataHome / options.applicationId, environment,
                   std::move(predecessor), windows_, tokens_, log_)
    , alerts_(windows_, application_)
    , menuBar_(options.applicationId, windows_, tokens_, bundle_, log_,
               {.terminate = [this] { application_.terminate(); },
                .hide = [this] { webWindows_.hideAll(); }})
    , pasteboard_(windows_, tokens_)
    , workspace_(mainQueue_, tokens_, log_)
    , webWindows_(windows_, tokens_,
                  WebsiteFolders(folders_.dataHome / options.applicationId / "webkit",
                                 folders_.cacheHome / options.applicationId / "webkit", fileSystem_,
                                 log_),
                  userDefaults_, [this] { application_.windowWasClosed(); })
    , updateHttp_({.authorities = options.updateAuthorities})
    , updateUi_(windows_, [this](const std::string& url) { workspace_.openUrl(url); })
    , updateNotice_(
          bundle_.infoString("CFBundleName").value_or(options.applicationId), options.applicationId,
          [this](const std::string& token) { updateUi_.useToken(token); }, log_)
    , copyNotice_(
          bundle_.infoString("CFBundleName").value_or(options.applicationId), options.applicationId,
          [](const std::string& /*token*/) {}, log_)
    , updateFramework_({.http = updateHttp_,
                        .mainQueue = mainQueue_,
                        .backgroundQueues = backgroundQueues_,
                        .clock = clock_,
                        .defaults = userDefaults_,
                        .notifications = notificationCenter_,
                        .application = application_,
                        .workspace = workspace_,
                        .runProgram =
                            [environment](posix::WatchedCommand command) {
                                command.environment = environment;
                                return posix::runWatched(command);
                            },
                        .startSuccessor = successorWith(environment, application_),
                        .ui = updateUi_,
                        .notice = updateNotice_,
                        .log = log_},
                       bundle_,
                       {.system = appcast::thisSystem(),
                        .readInfo = [this](const std::filesystem::path& folder) {
                            return readInfoDictionary(folder, log_);
                        }}) {
    windows_.setAbout(aboutOf(bundle_, options.applicationId));
    // The user has what was to be copied before the eyes at least.
    pasteboard_.onRefused =
        [this, name = bundle_.infoString("CFBundleName").value_or(options.applicationId)](
            const std::string& text) {
            copyNotice_.show({.title = name, .text = text, .action = {}}, [] {});
        };
    if (needsALauncher(bundle_, applicationFolders_)) {
        keepLauncher();
    } else {
        takeStrayLauncherAway();
    }
}

LinuxPlatform::~LinuxPlatform() {
    backgroundQueues_.finish();
    takeStrayLauncherAway(); // the bundle may have gone meanwhile
}

void LinuxPlatform::takeStrayLauncherAway() {
    if (const auto tidied = removeStrayLauncher(applicationId_, folders_.dataHome); !tidied) {
        log_.write(tidied.error());
    }
}

void LinuxPlatform::keepLauncher() {
    const std::filesystem::path resources = bundle_.resourcesPath().value_or("");
    const auto kept = platform::keepLauncher(
        {.applicationId = applicationId_,
         .entry = resources / (applicationId_ + ".desktop"),
         .icon = resources / "icons/hicolor/scalable/apps" / (applicationId_ + ".svg"),
         .executable = bundle_.executablePath()},
        folders_.dataHome, fileSystem_);
    if (!kept) {
        log_.write(kept.error());
    }
}

} // namespace desktop

std::expected<std::unique_ptr<NativePlatform>, std::string>
makeNativePlatform(const NativeOptions& options) {
    auto predecessor = appcast::Predecessor::find();
    const Environment environment = currentEnvironment();
    posix::putInheritanceRight();
    try {
        posix::requireThreads();
    } catch (const std::runtime_error& error) {
        return std::unexpected(error.what());
    }
    if (options.sayWhyItEnds) {
        desktop::sayWhenGlibGetsNoThread(options.sayWhyItEnds);
    }
    g_set_prgname(options.applicationId.c_str());
    if (auto trouble = desktop::displayTrouble(environment)) {
        return std::unexpected(*std::move(trouble));
    }
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_NUMERIC, "C");
    try {
        auto platform =
            std::make_unique<desktop::LinuxPlatform>(options, environment, std::move(predecessor));
        if (auto trouble = platform->trouble()) {
            return std::unexpected(*std::move(trouble));
        }
        return platform;
    } catch (const std::system_error&) {
        return std::unexpected(posix::noMoreThreads); // somebody else took them meanwhile
    } catch (const std::runtime_error& error) {
        return std::unexpected(error.what());
    }
}

} // namespace platform
