// The standard main menu of an application that has documents of no kind: the application's own
// menu, editing and windows. Stateless; any thread; throws nothing.
#pragma once

#include "platform/Menu.h"

#include <string_view>

namespace tessel {

struct MainMenu {
    // Three top-level items, each with a submenu. The extras stand in the application menu between
    // "About" and "Hide", with a separator after them. Every standard command goes to the first
    // responder, so editing works in web content and text fields.
    [[nodiscard]] static platform::Menu build(std::string_view appName,
                                              const platform::Menu& appMenuExtras);
};

} // namespace tessel
