// Which items of a menu are still the same items after it was computed anew. A pure function, so
// that a copy of the menu held by somebody else can be changed as little as possible, and never so
// that an item a user is aiming at turns into another one.
#pragma once

#include "platform/Menu.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace platform::tray {

// For each item of `after`, the index of the item of `before` that it continues, if any; the
// indices only ever grow. Items continue by their title and kind (in the longest common order);
// between those, a line of information without an action also continues as another such line.
[[nodiscard]] std::vector<std::optional<std::size_t>> continuedItems(const Menu& before,
                                                                     const Menu& after);

// What a menu that is open shows of its latest state, so that nothing moves under the pointer: rows
// keep their places, those that have gone are disabled, and those that came have to wait for the
// next opening.
[[nodiscard]] Menu keptInPlace(Menu shown, const Menu& latest);

} // namespace platform::tray
