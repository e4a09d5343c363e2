#include "platform/appcast/UpdatePanel.h"

#include <fmt/format.h>

namespace platform::appcast {
namespace {

std::optional<UpdatePanel::Link> releaseNotes(const UpdateNames& names) {
    if (names.releaseNotesUrl.empty()) {
        return std::nullopt;
    }
    return UpdatePanel::Link{.title = "Release notes", .url = names.releaseNotesUrl};
}

UpdatePanel message(std::string title, std::string text) {
    return {.title = std::move(title), .text = std::move(text), .buttons = {"OK"}};
}

std::string offerTitle(const UpdateNames& names) {
    return fmt::format("{} {} is available", names.application, names.offered);
}

std::string installedSentence(const UpdateNames& names) {
    return fmt::format("You have version {}.{}", names.installed,
                       names.isCritical ? " This update is important." : "");
}

UpdatePanel availableElsewhere(const UpdateNames& names, const char* how) {
    auto panel = message(offerTitle(names), fmt::format("{} {}", installedSentence(names), how));
    panel.link = releaseNotes(names);
    return panel;
}

} // namespace

UpdatePanel checkingPanel() {
    return {.title = "Checking for updates…", .buttons = {"Cancel"}, .showsProgress = true};
}

UpdatePanel upToDatePanel(const UpdateNames& names) {
    return message(fmt::format("{} is up to date", names.application),
                   fmt::format("Version {} is the newest one.", names.installed));
}

UpdatePanel checkFailedPanel(const std::string& reason) {
    return message("Updates cannot be checked now", reason + ".");
}

UpdatePanel offerPanel(const UpdateNames& names) {
    auto panel = availableElsewhere(
        names, names.isInformational
                   ? "It is not installed from here; its page says what to do."
                   : fmt::format("The new version is downloaded, checked, and installed in its "
                                 "place; {} then starts again.",
                                 names.application)
                         .c_str());
    panel.buttons = {names.isInformational ? "Learn More…" : "Install and Relaunch", "Later"};
    if (!names.isCritical) {
        panel.buttons.emplace_back("Skip This Version");
    }
    panel.defaultButton = static_cast<std::size_t>(OfferAnswer::later);
    panel.closeAnswer = panel.defaultButton;
    return panel;
}

UpdatePanel systemsOwnPanel(const UpdateNames& names) {
    return availableElsewhere(
        names, "This copy was installed by the system's package manager, which updates it too.");
}

UpdatePanel notWritablePanel(const UpdateNames& names) {
    return availableElsewhere(names,
                              "This copy is in a folder that you cannot change. Whoever installed "
                              "it there can update it.");
}

UpdatePanel downloadPanel(const UpdateNames& names) {
    return {.title = fmt::format("Downloading {} {}", names.application, names.offered),
            .buttons = {"Cancel"},
            .showsProgress = true};
}

UpdatePanel installPanel(const UpdateNames& names) {
    return {.title = fmt::format("Installing {} {}", names.application, names.offered),
            .showsProgress = true};
}

UpdatePanel installFailedPanel(const UpdateNames& names, const std::string& reason,
                               bool oldOneIsBack) {
    return message(fmt::format("{} {} was not installed", names.application, names.offered),
                   oldOneIsBack ? fmt::format("Version {} stays as it was, because {}.",
                                              names.installed, reason)
                                : fmt::format("This is because {}.", reason));
}

UpdateNotification offerNotification(const UpdateNames& names) {
    return {.title = offerTitle(names),
            .text = installedSentence(names),
            .action = "Show Update…",
            .isCritical = names.isCritical};
}

std::string progressText(std::uint64_t received, std::uint64_t length) {
    constexpr double megabyte = 1'000'000;
    return fmt::format("{:.1f} MB of {:.1f} MB", static_cast<double>(received) / megabyte,
                       static_cast<double>(length) / megabyte);
}

} // namespace platform::appcast
