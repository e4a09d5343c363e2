// Images in the form of the StatusNotifierItem protocol: ARGB32, not premultiplied, most
// significant byte first, top row first. Everything drawn here is a template: the shape is in the
// alpha channel, and its one colour is a grey with a contrast of 3:1 or more against the light and
// the dark panels that there are, because the host does not say which it has. Hosts that can colour
// a symbol themselves take it by its name instead. Any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <vector>

namespace platform::tray {

struct IconPixmap {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> bytes = {};

    bool operator==(const IconPixmap&) const = default;
};

// In the heights that panels give an item, 16 to 32 units, on screens of scale 1, 1.5 and 2, up to
// 64 pixels; empty when the file cannot be drawn.
[[nodiscard]] std::vector<IconPixmap> drawSymbol(const std::filesystem::path& file);

// The text in one line, in the same heights and as wide as it needs, at least square and at most
// four times as wide as high (a longer one is made smaller). Empty for an empty text.
[[nodiscard]] std::vector<IconPixmap> drawText(std::string_view text);

} // namespace platform::tray
