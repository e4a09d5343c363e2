#include "mac/Zorvane/StatusMenu.h"

#include "platform/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace zorvane {
namespace {

using State = ServerSupervisor::State;
using Entries = std::vector<StatusMenuEntry>;

constexpr std::size_t longestReason = 88;
constexpr std::size_t keptOfLongerReason = 85; // and three full stops

std::string headerLine(const StatusMenuContents& contents) {
    const std::string version = contents.shortVersion.value_or("dev");
    if (contents.bundleVersion && !contents.bundleVersion->empty()) {
        return fmt::format("Zorvane {} ({})", version, *contents.bundleVersion);
    }
    return fmt::format("Zorvane {}", version);
}

std::string shortened(const std::string& reason) {
    if (platform::characterCount(reason) <= longestReason) {
        return reason;
    }
    return fmt::format("{}...", platform::characterPrefix(reason, keptOfLongerReason));
}

std::string libraryCount(std::int64_t count, const platform::NumberFormatter& numbers) {
    return fmt::format("{} {}", numbers.decimal(count), count == 1 ? "library" : "libraries");
}

void add(Entries& entries, std::string title, StatusMenuAction action, bool enabled = true) {
    entries.push_back({.title = std::move(title), .action = action, .enabled = enabled});
}

void addInfo(Entries& entries, std::string title) {
    entries.push_back({.title = std::move(title)});
}

void addSeparator(Entries& entries) {
    entries.emplace_back();
}

void addLibrarySummaryItems(Entries& entries, const StatusMenuContents& contents,
                            const platform::NumberFormatter& numbers) {
    if (auto line = librarySummaryLine(contents, numbers)) {
        addInfo(entries, std::move(*line));
    }
    if (!contents.library) {
        return;
    }
    for (const ostra::ModeSummary& mode : contents.library->modes) {
        if (mode.itemCount.value_or(0) >= 1 || mode.libraryCount > 0) {
            addInfo(entries, modeSummaryLine(mode, numbers));
        }
    }
}

void addAccountItems(Entries& entries, const std::optional<ostra::AccountStatus>& account) {
    addSeparator(entries);
    addInfo(entries, account ? account->menuLine() : "Account: …");
    if (account && account->linked) {
        if (ostra::AccountLink::accountPageURL(account)) {
            add(entries, "Open Account Page", StatusMenuAction::openAccountPage);
        }
    } else if (account && account->pending && account->verifyURL) {
        add(entries, "Reopen Approval Page", StatusMenuAction::reopenApproval);
        add(entries, "Copy Link Code", StatusMenuAction::copyLinkCode);
    } else {
        add(entries, "Link This Server…", StatusMenuAction::linkServer);
    }
}

} // namespace

std::optional<ostra::Url> serverUrl(const State& state) {
    if (const auto* running = std::get_if<ServerSupervisor::Running>(&state)) {
        return ostra::serverUrl(running->port);
    }
    return std::nullopt;
}

std::vector<std::string> serverStatusLines(const State& state) {
    if (const auto* running = std::get_if<ServerSupervisor::Running>(&state)) {
        return {"Server: Online",
                "Address: " + std::string(ostra::serverUrl(running->port).buffer())};
    }
    if (const auto* failed = std::get_if<ServerSupervisor::Failed>(&state)) {
        return {"Server: Error", "Reason: " + shortened(failed->reason)};
    }
    if (std::holds_alternative<ServerSupervisor::Starting>(state)) {
        return {"Server: Starting ostrad..."};
    }
    return {"Server: Stopped"};
}

std::optional<std::string> librarySummaryLine(const StatusMenuContents& contents,
                                              const platform::NumberFormatter& numbers) {
    if (!serverUrl(contents.state)) {
        return std::nullopt;
    }
    if (!contents.library) {
        return contents.libraryFetchInFlight ? "Library: loading..." : "Library: unavailable";
    }
    const auto libraries = contents.library->totalLibraries();
    const auto items = contents.library->totalItems();
    if (libraries <= 0 && items.value_or(0) == 0) {
        return "Library: no libraries configured";
    }
    std::vector<std::string> parts;
    if (items) {
        parts.push_back(
            fmt::format("{} {}", numbers.decimal(*items), *items == 1 ? "item" : "items"));
    }
    if (libraries >= 1) {
        parts.push_back(libraryCount(libraries, numbers));
    }
    if (parts.empty()) {
        return "Library: unavailable";
    }
    return fmt::format("Library: {}", fmt::join(parts, " across "));
}

std::string modeSummaryLine(const ostra::ModeSummary& mode,
                            const platform::NumberFormatter& numbers) {
    std::vector<std::string> parts;
    if (mode.itemCount) {
        parts.push_back(
            fmt::format("{} {}", numbers.decimal(*mode.itemCount),
                        *mode.itemCount == 1 ? mode.singularItemName : mode.pluralItemName));
    }
    if (mode.libraryCount >= 1) {
        parts.push_back(libraryCount(mode.libraryCount, numbers));
    }
    if (parts.empty()) {
        return mode.name + ": unavailable";
    }
    return fmt::format("{}: {}", mode.name, fmt::join(parts, " - "));
}

std::string statusToolTip(const StatusMenuContents& contents,
                          const platform::NumberFormatter& numbers) {
    std::vector<std::string> lines = serverStatusLines(contents.state);
    if (auto line = librarySummaryLine(contents, numbers)) {
        lines.push_back(std::move(*line));
    }
    return fmt::format("{}", fmt::join(lines, "\n"));
}

std::vector<StatusMenuEntry> statusMenu(const StatusMenuContents& contents,
                                        const platform::NumberFormatter& numbers) {
    const bool online = serverUrl(contents.state).has_value();
    Entries entries;
    addInfo(entries, headerLine(contents));
    for (std::string& line : serverStatusLines(contents.state)) {
        addInfo(entries, std::move(line));
    }
    if (online) {
        addSeparator(entries);
        addLibrarySummaryItems(entries, contents, numbers);
    }
    addSeparator(entries);
    add(entries, "Show Zorvane Window", StatusMenuAction::openOstraWindow);
    add(entries, "Open Web App", StatusMenuAction::openWebApp, online);
    add(entries, "Copy Server URL", StatusMenuAction::copyServerURL, online);
    add(entries, "Restart Server", StatusMenuAction::restartServer);
    if (online) {
        addAccountItems(entries, contents.account);
    }
    addSeparator(entries);
    add(entries, "Start at Login", StatusMenuAction::toggleLoginItem);
    entries.back().checkable = true;
    entries.back().checked = contents.startsAtLogin;
    if (contents.canUpdate) {
        add(entries, "Check for Updates…", StatusMenuAction::checkForUpdates);
    }
    addSeparator(entries);
    add(entries, "Quit Zorvane & Stop Server", StatusMenuAction::quitApp);
    return entries;
}

} // namespace zorvane
