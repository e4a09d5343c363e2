// The application's item in the menu bar or tray, with an image or a short text, a tool tip and a
// menu. Modelled on NSStatusItem and its button. An item is there from its creation to its
// destruction, whether or not a tray exists to show it: where trays come and go (the
// StatusNotifierItem protocol), the back end registers it with each. Main thread only.
#pragma once

#include "platform/Menu.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

class StatusItem {
  public:
    virtual ~StatusItem() = default;

    // Shows the system's symbol of that name as an image that follows the bar's colours, described
    // to assistive technology by the second text. False, with nothing changed, when there is none
    // of that name.
    [[nodiscard]] virtual bool setSymbol(std::string_view name,
                                         std::string_view accessibilityDescription) = 0;
    // No image any more.
    virtual void clearImage() = 0;
    // The text beside or, without an image, instead of it. Empty: none.
    virtual void setTitle(std::string_view title) = 0;
    // May have several lines. Absent: none.
    virtual void setToolTip(std::optional<std::string_view> toolTip) = 0;

    // Called each time the menu is about to open; the menu then shows exactly what this returns.
    std::function<Menu()> onMenuNeedsUpdate;
    // Called when the user activates the item itself, where a tray does that instead of opening the
    // menu.
    std::function<void()> onActivate;
    // Whether a copy of the menu is kept, which then has to hear of every change. A system that
    // always asks before it opens the menu keeps none.
    [[nodiscard]] virtual bool keepsMenu() const = 0;
    // What an opening would show now; the copy, if there is one, is brought up to date in place, as
    // far as that moves nothing that the user may be pointing at.
    virtual void menuChanged(const Menu& menu) = 0;
};

// The place where status items are shown.
class StatusBar {
  public:
    virtual ~StatusBar() = default;

    // A new item without image, text or menu.
    [[nodiscard]] virtual std::unique_ptr<StatusItem> makeStatusItem() = 0;
};

// The application's main menu: the bar at the top of the screen, or a window's header bar and
// keyboard shortcuts.
class MenuBar {
  public:
    virtual ~MenuBar() = default;

    // Every item of `menu` is one top-level menu. The first is the application's own and has no
    // title; where a title is needed, the system gives it the application's name.
    virtual void setMainMenu(const Menu& menu) = 0;
};

} // namespace platform
