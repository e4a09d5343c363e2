// A menu as it travels: its items in the order of reading, each with its depth (see
// WindowInterface.xml). Pure functions; any thread.
#pragma once

#include "platform/Menu.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace platform::connection {

struct MenuEntry {
    std::uint32_t depth = 0;
    std::string title = {};
    bool separator = false;
    bool enabled = true;
    bool checkable = false;
    bool checked = false;
    std::string keyEquivalent = {};
    std::int32_t command = -1;

    static constexpr auto members() {
        return std::tuple(&MenuEntry::depth, &MenuEntry::title, &MenuEntry::separator,
                          &MenuEntry::enabled, &MenuEntry::checkable, &MenuEntry::checked,
                          &MenuEntry::keyEquivalent, &MenuEntry::command);
    }
    bool operator==(const MenuEntry&) const = default;
};

[[nodiscard]] std::vector<MenuEntry> entriesOf(const Menu& menu);

// What does not fit is left out: entries beyond the thousandth, those deeper than eight levels or
// more than one level deeper than the entry before, and commands that do not exist. An item that
// can be chosen calls `chosen` with its place in the list.
[[nodiscard]] Menu menuOf(const std::vector<MenuEntry>& entries,
                          const std::function<void(std::uint32_t)>& chosen);

// The item at that place of the list that entriesOf() makes; null when there is none.
[[nodiscard]] const MenuItem* itemAt(const Menu& menu, std::uint32_t place);

[[nodiscard]] std::optional<StandardAction> standardActionOf(std::int32_t command);

} // namespace platform::connection
