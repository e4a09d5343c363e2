// How a menu-bar application is present on the desktop: its status item and the menu behind it,
// its Dock icon, its main menu, and what happens when the user opens it again while it is running.
// The status menu is rebuilt from scratch each time it opens, so it always shows the owner's state
// of that moment. Owned by the application delegate; main thread only. The facilities outlive it.
#pragma once

#include "platform/Application.h"
#include "platform/StatusItem.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace tessel {

class AppPresence {
  public:
    // What the status item shows: a text, or a symbol of the system with a text for systems that
    // do not have it.
    struct TextGlyph {
        // Shown as it is.
        std::string text;
    };
    // A symbol of the system.
    struct SymbolGlyph {
        // The system's name for it, and what is shown where it has none.
        std::string name;
        std::string fallback;
    };
    // One of the two.
    using Glyph = std::variant<TextGlyph, SymbolGlyph>;

    // What outlives the presence.
    struct Facilities {
        // Dock icon and activation, status items, and the main menu.
        platform::Application& application;
        platform::StatusBar& statusBar;
        platform::MenuBar& menuBar;
    };

    // Shows nothing before install().
    AppPresence(std::string appName, const Facilities& facilities);

    // As given.
    [[nodiscard]] const std::string& appName() const { return appName_; }

    // Called when the user opens the application again and no window is visible, or activates the
    // status item itself.
    std::function<void()> onOpenMainWindow;
    // Fills the empty status menu that it is given; called each time the menu is about to open.
    std::function<void(platform::Menu&)> buildStatusMenu;

    // Makes the application present, once: with a Dock icon or from the status area only, with its
    // main menu, and with a status item whose tool tip is the application's name.
    void install(const Glyph& glyph, bool dockIcon, const platform::Menu& appMenuExtras);

    // With it the application menu comes and goes.
    void setDockIconVisible(bool visible);
    // These four do nothing before install().
    void setStatusGlyph(const Glyph& glyph);
    // An absent tool tip leaves the one that is there.
    void setStatusText(std::string_view text, std::optional<std::string_view> toolTip);
    // An absent tool tip removes the one that is there.
    void setStatusToolTip(std::optional<std::string_view> toolTip);
    // Whether the system keeps a copy of the status menu; where it does not, a change of the menu
    // is nobody's concern until it is opened.
    [[nodiscard]] bool statusMenuIsKept() const;
    // Tells trays that keep a copy of the menu what an opening would show now.
    void statusMenuChanged(const platform::Menu& menu);

    // Answers the system's reopen question; always true: the request was dealt with.
    bool handleReopen(bool hasVisibleWindows);
    // Empties the menu and has the owner fill it.
    void menuNeedsUpdate(platform::Menu& menu);

    // The two kinds of items that a status menu is made of: an action, and a grey line of
    // information.
    [[nodiscard]] static platform::MenuItem menuItem(std::string title,
                                                     std::function<void()> action);
    [[nodiscard]] static platform::MenuItem infoItem(std::string title);

  private:
    std::string appName_;
    Facilities facilities_;
    std::unique_ptr<platform::StatusItem> statusItem_;
};

} // namespace tessel
