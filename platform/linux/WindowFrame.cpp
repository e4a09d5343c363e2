#include "platform/linux/WindowFrame.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

namespace platform::desktop {
namespace {

// Below this a window cannot be used; whoever wrote such a size did not mean it.
constexpr std::int64_t smallestSide = 100;

void saveInteger(UserDefaults& defaults, const std::string& key, std::int64_t value) {
    if (defaults.integer(key) != value) {
        defaults.setInteger(key, value);
    }
}

} // namespace

WindowFrame::WindowFrame(UserDefaults& defaults, std::string_view name)
    : defaults_(defaults)
    , widthKey_(fmt::format("frame.{}.width", name))
    , heightKey_(fmt::format("frame.{}.height", name))
    , maximizedKey_(fmt::format("frame.{}.maximized", name)) {}

std::optional<WindowSize> WindowFrame::restore(const WindowSize& largest) const {
    const std::int64_t width = defaults_.integer(widthKey_);
    const std::int64_t height = defaults_.integer(heightKey_);
    if (width < smallestSide || height < smallestSide) {
        return std::nullopt;
    }
    return WindowSize{
        .width = static_cast<int>(std::min<std::int64_t>(width, largest.width)),
        .height = static_cast<int>(std::min<std::int64_t>(height, largest.height)),
        .maximized = defaults_.boolean(maximizedKey_),
    };
}

void WindowFrame::save(const WindowSize& size) {
    if (size.width < smallestSide || size.height < smallestSide) {
        return;
    }
    saveInteger(defaults_, widthKey_, size.width);
    saveInteger(defaults_, heightKey_, size.height);
    if (defaults_.boolean(maximizedKey_) != size.maximized) {
        defaults_.setBoolean(maximizedKey_, size.maximized);
    }
}

} // namespace platform::desktop
