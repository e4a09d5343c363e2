// A menu as a value: what the core computes and a back end draws. Modelled on NSMenuItem, with
// the two kinds of actions that a menu of this kind has: a closure of the item's owner, or one of
// the standard commands that go to whatever has the keyboard focus. Closures run on the main
// thread, after the menu has closed.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// Commands to the first responder, named after AppKit's actions.
enum class StandardAction {
    orderFrontStandardAboutPanel,
    hide,
    terminate,
    undo,
    redo,
    cut,
    copy,
    paste,
    selectAll,
    performMiniaturize,
    performClose,
};

struct MenuItem {
    std::string title = {}; // UTF-8, shown literally: no mnemonics, no markup
    bool separator = false; // a separator has no other property
    bool enabled = true;    // whether it can be chosen
    // Whether it is a switch, which shows that it is off, too; `checked` says that it is on.
    bool checkable = false;
    bool checked = false;
    // One character, typed with Command (Control where there is no Command key); upper case means
    // with Shift. Empty: none.
    std::string keyEquivalent = {};
    // What choosing it does: one of the two, or neither. An item with a submenu opens that instead.
    std::function<void()> action = {};
    std::optional<StandardAction> standardAction = {};
    std::vector<MenuItem> submenu = {};
    // The submenu to which the system adds the application's windows, where it does that.
    bool listsWindows = false;
};

// The items from top to bottom.
using Menu = std::vector<MenuItem>;

} // namespace platform
