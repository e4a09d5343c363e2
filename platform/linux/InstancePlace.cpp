#include "platform/linux/InstancePlace.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace platform::desktop {
namespace {

// "unix:0.0" and ":0" are the same display.
std::string x11Display(std::string display) {
    const std::size_t colon = display.rfind(':');
    if (colon == std::string::npos) {
        return {};
    }
    display.resize(std::min(display.size(), display.find('.', colon)));
    for (const std::string_view prefix : {"unix:", "unix/:"}) {
        if (display.starts_with(prefix)) {
            display.replace(0, prefix.size(), ":");
        }
    }
    return display;
}

std::string waylandSocket(const Environment& environment) {
    const std::string display = valueOf(environment, "WAYLAND_DISPLAY");
    return display.empty() || display.front() == '/'
               ? display
               : valueOf(environment, "XDG_RUNTIME_DIR") + "/" + display;
}

std::string hostName() {
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

bool isPrintable(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= ' ' && c < 127; });
}

// The text up to the next line feed, which is taken away; nothing when there is none.
std::optional<std::string> takeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos || !isPrintable(text.substr(0, end))) {
        return std::nullopt;
    }
    std::string line(text.substr(0, end));
    text.remove_prefix(end + 1);
    return line;
}

} // namespace

InstancePlace here(const Environment& environment) {
    return {.host = hostName(),
            .process = ::getpid(),
            .x11 = x11Display(valueOf(environment, "DISPLAY")),
            .wayland = waylandSocket(environment)};
}

bool shareADisplay(const InstancePlace& one, const InstancePlace& other) {
    return one.host == other.host && ((!one.x11.empty() && one.x11 == other.x11) ||
                                      (!one.wayland.empty() && one.wayland == other.wayland));
}

std::string written(const InstancePlace& place) {
    return fmt::format("{}\n{}\n{}\n{}\n", place.process, place.host, place.x11, place.wayland);
}

std::optional<InstancePlace> readPlace(std::string_view text) {
    const auto process = takeLine(text);
    const auto host = takeLine(text);
    const auto x11 = takeLine(text);
    const auto wayland = takeLine(text);
    if (!process || !host || !x11 || !wayland || !text.empty()) {
        return std::nullopt;
    }
    InstancePlace place{.host = *host, .x11 = *x11, .wayland = *wayland};
    const char* const end = process->data() + process->size();
    const auto read = std::from_chars(process->data(), end, place.process);
    if (read.ec != std::errc() || read.ptr != end || place.process <= 0) {
        return std::nullopt;
    }
    return place;
}

std::string describeDisplay(const InstancePlace& place) {
    const std::string& display = place.wayland.empty() ? place.x11 : place.wayland;
    return display.empty() ? "without a display" : "display " + display;
}

std::string describe(const InstancePlace& place) {
    return fmt::format("process {} on {}, {}", place.process, place.host, describeDisplay(place));
}

} // namespace platform::desktop
