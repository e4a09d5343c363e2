#include "mac/Tessel/Application/MainMenu.h"

#include <string>
#include <utility>

namespace tessel {
namespace {

using platform::Menu;
using platform::MenuItem;
using platform::StandardAction;

MenuItem command(std::string title, StandardAction action, std::string keyEquivalent = {}) {
    MenuItem item;
    item.title = std::move(title);
    item.standardAction = action;
    item.keyEquivalent = std::move(keyEquivalent);
    return item;
}

MenuItem separator() {
    MenuItem item;
    item.separator = true;
    return item;
}

MenuItem topLevel(std::string title, Menu submenu) {
    MenuItem item;
    item.title = std::move(title);
    item.submenu = std::move(submenu);
    return item;
}

Menu applicationMenu(const std::string& appName, const Menu& extras) {
    Menu menu = {command("About " + appName, StandardAction::orderFrontStandardAboutPanel),
                 separator()};
    if (!extras.empty()) {
        menu.insert(menu.end(), extras.begin(), extras.end());
        menu.push_back(separator());
    }
    menu.push_back(command("Hide " + appName, StandardAction::hide, "h"));
    menu.push_back(separator());
    menu.push_back(command("Quit " + appName, StandardAction::terminate, "q"));
    return menu;
}

Menu editMenu() {
    return {command("Undo", StandardAction::undo, "z"),
            command("Redo", StandardAction::redo, "Z"),
            separator(),
            command("Cut", StandardAction::cut, "x"),
            command("Copy", StandardAction::copy, "c"),
            command("Paste", StandardAction::paste, "v"),
            command("Select All", StandardAction::selectAll, "a")};
}

Menu windowMenu() {
    return {command("Minimize", StandardAction::performMiniaturize, "m"),
            command("Close", StandardAction::performClose, "w")};
}

} // namespace

Menu MainMenu::build(std::string_view appName, const Menu& appMenuExtras) {
    MenuItem window = topLevel("Window", windowMenu());
    window.listsWindows = true;
    return {topLevel("", applicationMenu(std::string(appName), appMenuExtras)),
            topLevel("Edit", editMenu()), std::move(window)};
}

} // namespace tessel
