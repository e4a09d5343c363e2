// A tray that nobody here wrote: xfce4-panel at the top edge of a session's screen with nothing
// but its status tray, and the settings daemon that it needs. Ended by the destructor.
#pragma once

#include "tests/desktop/session/DesktopSession.h"

#include <memory>
#include <optional>

namespace desktop {

class Panel {
  public:
    static constexpr int height = 32;

    explicit Panel(DesktopSession& session);

    // Puts the pointer on the first item of the tray and clicks.
    void clickFirstItem() const;
    // Where the menu of an item is open.
    [[nodiscard]] std::optional<WindowGeometry> menu() const;
    // Whether something comes to be drawn in the place of the tray's first item.
    [[nodiscard]] bool showsAnItem() const;

  private:
    DesktopSession& session_;
    std::unique_ptr<Program> settings_;
    std::unique_ptr<Program> panel_;
};

} // namespace desktop
