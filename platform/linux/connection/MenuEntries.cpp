#include "platform/linux/connection/MenuEntries.h"

namespace platform::connection {
namespace {

constexpr std::size_t mostEntries = 1000;
constexpr std::uint32_t deepest = 8;

void append(const Menu& menu, std::uint32_t depth, std::vector<MenuEntry>& entries) {
    for (const MenuItem& item : menu) {
        entries.push_back({.depth = depth,
                           .title = item.title,
                           .separator = item.separator,
                           // What does nothing cannot be chosen.
                           .enabled = item.enabled &&
                                      (item.action || item.standardAction || !item.submenu.empty()),
                           .checkable = item.checkable,
                           .checked = item.checked,
                           .keyEquivalent = item.keyEquivalent,
                           .command = item.standardAction
                                          ? static_cast<std::int32_t>(*item.standardAction)
                                          : -1});
        append(item.submenu, depth + 1, entries);
    }
}

MenuItem itemOf(const MenuEntry& entry, std::uint32_t place,
                const std::function<void(std::uint32_t)>& chosen) {
    MenuItem item{.title = entry.title,
                  .separator = entry.separator,
                  .enabled = entry.enabled,
                  .checkable = entry.checkable,
                  .checked = entry.checked,
                  .keyEquivalent = entry.keyEquivalent,
                  .standardAction = standardActionOf(entry.command)};
    if (!item.standardAction && item.enabled && !item.separator) {
        item.action = [chosen, place] { chosen(place); };
    }
    return item;
}

const MenuItem* find(const Menu& menu, std::uint32_t& left) {
    for (const MenuItem& item : menu) {
        if (left-- == 0) {
            return &item;
        }
        if (const MenuItem* const found = find(item.submenu, left)) {
            return found;
        }
    }
    return nullptr;
}

} // namespace

std::vector<MenuEntry> entriesOf(const Menu& menu) {
    std::vector<MenuEntry> entries;
    append(menu, 0, entries);
    return entries;
}

Menu menuOf(const std::vector<MenuEntry>& entries,
            const std::function<void(std::uint32_t)>& chosen) {
    Menu top;
    // The menu that an entry of each depth belongs to. Their items stay where they are while
    // deeper ones are added: a menu only grows when everything below its last item is done.
    std::vector<Menu*> levels = {&top};
    for (std::size_t place = 0; place < entries.size() && place < mostEntries; ++place) {
        const MenuEntry& entry = entries[place];
        if (entry.depth >= levels.size() || entry.depth >= deepest) {
            continue;
        }
        levels.resize(entry.depth + 1);
        Menu& menu = *levels.back();
        menu.push_back(itemOf(entry, static_cast<std::uint32_t>(place), chosen));
        levels.push_back(&menu.back().submenu);
    }
    return top;
}

const MenuItem* itemAt(const Menu& menu, std::uint32_t place) {
    return find(menu, place);
}

std::optional<StandardAction> standardActionOf(std::int32_t command) {
    if (command < 0 || command > static_cast<std::int32_t>(StandardAction::performClose)) {
        return std::nullopt;
    }
    return static_cast<StandardAction>(command);
}

} // namespace platform::connection
