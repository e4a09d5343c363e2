// The remembered size of a window's content: its width and height in points and whether it is
// maximised, under a name in the user's defaults. What is read is checked, since the file may have
// been edited: a size that is missing or makes no sense counts as absent, one that is merely larger
// than any screen is cut. Values that did not change are not written again. Any thread.
#pragma once

#include "platform/UserDefaults.h"

#include <optional>
#include <string>
#include <string_view>

namespace platform::desktop {

struct WindowSize {
    int width = 0;
    int height = 0;
    bool maximized = false;

    bool operator==(const WindowSize&) const = default;
};

class WindowFrame {
  public:
    // Keys are "frame.NAME.width", "frame.NAME.height" and "frame.NAME.maximized".
    WindowFrame(UserDefaults& defaults, std::string_view name);

    // `largest` is the size of the largest screen.
    [[nodiscard]] std::optional<WindowSize> restore(const WindowSize& largest) const;
    void save(const WindowSize& size);

  private:
    UserDefaults& defaults_;
    std::string widthKey_;
    std::string heightKey_;
    std::string maximizedKey_;
};

} // namespace platform::desktop
