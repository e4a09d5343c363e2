// What the user sees of an update, as values: one panel at a time, and all of its words. The words
// are this library's own; whoever implements UpdateUi only draws them. Pure functions.
#pragma once

#include "platform/appcast/UpdateNotice.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform::appcast {

struct UpdatePanel {
    struct Link {
        std::string title;
        std::string url;
        bool operator==(const Link&) const = default;
    };

    std::string title;
    std::string text = {};
    std::optional<Link> link = {};
    std::vector<std::string> buttons = {};
    std::size_t defaultButton = 0; // the one that Return presses
    std::size_t closeAnswer = 0;   // the one that closing the window counts as
    bool showsProgress = false;

    bool operator==(const UpdatePanel&) const = default;
};

// The answers to the offer, as indices of its buttons. Going on means to install the update, or,
// where there is nothing to install, to look at the page about it.
enum class OfferAnswer : std::size_t { goOn, later, skip };

struct UpdateNames {
    std::string application;
    std::string installed; // versions as people read them
    std::string offered = {};
    std::string releaseNotesUrl = {};
    bool isCritical = false;      // must not be skipped
    bool isInformational = false; // nothing to install
};

[[nodiscard]] UpdatePanel checkingPanel();
[[nodiscard]] UpdatePanel upToDatePanel(const UpdateNames& names);
[[nodiscard]] UpdatePanel checkFailedPanel(const std::string& reason);
[[nodiscard]] UpdatePanel offerPanel(const UpdateNames& names);
// An update that this copy cannot install itself.
[[nodiscard]] UpdatePanel systemsOwnPanel(const UpdateNames& names);
[[nodiscard]] UpdatePanel notWritablePanel(const UpdateNames& names);
[[nodiscard]] UpdatePanel downloadPanel(const UpdateNames& names);
[[nodiscard]] UpdatePanel installPanel(const UpdateNames& names);
// Without the old version in its place again when `oldOneIsBack` is false.
[[nodiscard]] UpdatePanel installFailedPanel(const UpdateNames& names, const std::string& reason,
                                             bool oldOneIsBack);

// The offer as a notification. What the feed says is in the title only, which no desktop reads as
// markup.
[[nodiscard]] UpdateNotification offerNotification(const UpdateNames& names);

// "3.1 MB of 20.0 MB"
[[nodiscard]] std::string progressText(std::uint64_t received, std::uint64_t length);

} // namespace platform::appcast
