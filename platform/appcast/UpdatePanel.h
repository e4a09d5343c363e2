// What the user sees of an update, as values: one panel at a time, and all of its words. The words
// are this library's own; whoever implements UpdateUi only draws them. Pure functions.
#pragma once

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
    std::vector<std::string> buttons = {}; // the first is the default one
    std::size_t closeAnswer = 0;           // the button that closing the window counts as
    bool showsProgress = false;

    bool operator==(const UpdatePanel&) const = default;
};

// The answers to the offer, as indices of its buttons.
enum class OfferAnswer : std::size_t { install, later, skip };

struct UpdateNames {
    std::string application;
    std::string installed; // versions as people read them
    std::string offered = {};
    std::string releaseNotesUrl = {};
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
[[nodiscard]] UpdatePanel installFailedPanel(const UpdateNames& names, const std::string& reason);

// "3.1 MB of 20.0 MB"
[[nodiscard]] std::string progressText(std::uint64_t received, std::uint64_t length);

} // namespace platform::appcast
