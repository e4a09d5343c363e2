#include "mac/Tessel/Application/SelfInstall.h"

#include <chrono>
#include <cstddef>

namespace tessel {
namespace {

using Facilities = SelfInstall::Facilities;
using std::filesystem::path;

bool isBelow(const std::string& bundle, const path& folder) {
    return bundle.starts_with(folder.native() + "/");
}

bool isOptedOut(const SelfInstall::Request& request) {
    if (request.interactive || !request.devSkipEnvironmentKey) {
        return false;
    }
    const auto found = request.environment.find(*request.devSkipEnvironmentKey);
    return found != request.environment.end() && found->second == "1";
}

// The system's folder, or the user's, which is made if need be; that it cannot be made shows when
// the copy fails.
path prepareDestinationFolder(const Facilities& facilities) {
    constexpr mode_t everyoneMayRead = 0755;
    if (facilities.trees.isWritableFolder(facilities.folders.system)) {
        return facilities.folders.system;
    }
    (void)facilities.files.createFolders(facilities.folders.user, everyoneMayRead);
    return facilities.folders.user;
}

bool userAgrees(const Facilities& facilities, const std::string& appName) {
    facilities.application.activateIgnoringOtherApps();
    const std::size_t answer = facilities.alerts.runModal(
        {.message = "Move " + appName + " to the Applications folder?",
         .informativeText = "It will relaunch from there. Updates and permissions work best that "
                            "way; takes a second, nothing to drag.",
         .buttons = {"Move to Applications", "Not Now"}});
    return answer == 0;
}

// Where there is no such program there is no such attribute either.
void clearQuarantine(platform::CommandRunner& commands, const path& bundle) {
    constexpr std::chrono::minutes patience{1};
    constexpr std::size_t enoughOutput = std::size_t{64} << 10;
    (void)commands.run("/usr/bin/xattr", {"-dr", "com.apple.quarantine", bundle.native()}, patience,
                       enoughOutput);
}

void relaunchFrom(const path& bundle, const Facilities& facilities) {
    const auto finish = [&alerts = facilities.alerts,
                         terminate = facilities.terminate](const platform::OpenResult& result) {
        if (!result.launched) {
            const std::string reason = result.error.empty() ? "Unknown error" : result.error;
            (void)alerts.runModal(
                {.message = "Couldn't relaunch from Applications",
                 .informativeText = reason + "\n\nThe copy IS in Applications; open it from there "
                                             "when you're ready."});
        }
        terminate();
    };
    facilities.workspace.openNewInstance(
        bundle, [&mainQueue = facilities.mainQueue, finish](const platform::OpenResult& result) {
            mainQueue.post([finish, result] { finish(result); });
        });
}

} // namespace

bool SelfInstall::isInstalled(const path& bundle, const platform::ApplicationFolders& folders) {
    const std::string& text = bundle.native();
    if (isBelow(text, folders.system) || isBelow(text, folders.user)) {
        return true;
    }
    for (const path& prefix : folders.packagePrefixes) {
        if (isBelow(text, prefix)) {
            return true;
        }
    }
    return false;
}

bool SelfInstall::moveToApplicationsIfNeeded(const Facilities& facilities, const Request& request) {
    const auto bundle = facilities.bundle.bundlePath();
    if (bundle && isInstalled(*bundle, facilities.folders)) {
        // An attempt that was interrupted may have left something; this is the next start.
        facilities.trees.clearLeftovers(*bundle);
        return false;
    }
    if (isOptedOut(request) || !bundle || !bundle->native().ends_with(".app")) {
        return false;
    }
    if (!userAgrees(facilities, request.appName)) {
        return false;
    }
    const path destination = prepareDestinationFolder(facilities) / bundle->filename();
    if (const auto copied = facilities.trees.replaceWithCopy(*bundle, destination); !copied) {
        (void)facilities.alerts.runModal(
            {.message = "Couldn't move " + request.appName,
             .informativeText = copied.error().description() +
                                "\n\nYou can drag it to Applications yourself; it keeps working "
                                "from here meanwhile."});
        return false;
    }
    clearQuarantine(facilities.commands, destination);
    relaunchFrom(destination, facilities);
    return true;
}

} // namespace tessel
