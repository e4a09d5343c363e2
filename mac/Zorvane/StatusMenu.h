// What the status menu and its tool tip say, as values: pure functions of what the application
// knows at that moment. Numbers are written in the user's locale; lengths are counted in
// user-perceived characters. Any thread; nothing is thrown.
#pragma once

#include "mac/OstraCore/AccountLink.h"
#include "mac/OstraCore/LibrarySummary.h"
#include "mac/OstraCore/ServerUrl.h"
#include "mac/Zorvane/ServerSupervisor.h"
#include "platform/NumberFormatter.h"

#include <optional>
#include <string>
#include <vector>

namespace zorvane {

enum class StatusMenuAction {
    openOstraWindow,
    openWebApp,
    copyServerURL,
    restartServer,
    linkServer,
    reopenApproval,
    copyLinkCode,
    openAccountPage,
    toggleLoginItem,
    checkForUpdates,
    quitApp,
};

// A separator (no title), a line of information (a title and no action), or an action.
struct StatusMenuEntry {
    std::string title = {};
    std::optional<StatusMenuAction> action = {};
    bool enabled = false;
    bool checkable = false;
    bool checked = false;

    bool operator==(const StatusMenuEntry&) const = default;
    [[nodiscard]] bool isSeparator() const { return title.empty(); }
};

struct StatusMenuContents {
    std::optional<std::string> shortVersion = {};  // CFBundleShortVersionString
    std::optional<std::string> bundleVersion = {}; // CFBundleVersion
    ServerSupervisor::State state = {};
    std::optional<ostra::AccountStatus> account = {};
    std::optional<ostra::LibrarySummary> library = {}; // of the current server only
    bool libraryFetchInFlight = false;
    bool startsAtLogin = false;
    bool canUpdate = false;
};

// The server's address while it runs; in every other state there is none.
[[nodiscard]] std::optional<ostra::Url> serverUrl(const ServerSupervisor::State& state);

[[nodiscard]] std::vector<std::string> serverStatusLines(const ServerSupervisor::State& state);
[[nodiscard]] std::optional<std::string>
librarySummaryLine(const StatusMenuContents& contents, const platform::NumberFormatter& numbers);
[[nodiscard]] std::string modeSummaryLine(const ostra::ModeSummary& mode,
                                          const platform::NumberFormatter& numbers);
// The server's lines and the library's, one a line.
[[nodiscard]] std::string statusToolTip(const StatusMenuContents& contents,
                                        const platform::NumberFormatter& numbers);
[[nodiscard]] std::vector<StatusMenuEntry> statusMenu(const StatusMenuContents& contents,
                                                      const platform::NumberFormatter& numbers);

} // namespace zorvane
