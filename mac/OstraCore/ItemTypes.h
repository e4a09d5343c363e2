// Which of a mode's entity types are its items (tracks rather than albums or artists), and what one
// and several of them are called. The server does not say; the rules below know the modes by their
// ids and make a guess for modes they do not know. Pure; any thread.
#pragma once

#include "mac/OstraCore/LibraryReplies.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ostra {

// The types to be counted, in their order: all whose id has a suffix that names items in that mode;
// else the first that is neither a person nor a container; else the first. A mode that has types
// always counts something.
[[nodiscard]] std::vector<EntityTypeDTO> countTypes(std::string_view modeId,
                                                    std::span<const EntityTypeDTO> types);

// Whether a type groups items rather than being one, by the last segment of its id or its name.
[[nodiscard]] bool isKnownContainer(const EntityTypeDTO& type);

struct ItemLabels {
    std::string singular = "item";
    std::string plural = "items";

    bool operator==(const ItemLabels&) const = default;
};

// Lower case. Exactly one type with a name gives its own labels; a missing plural is made with "s".
[[nodiscard]] ItemLabels itemLabels(std::span<const EntityTypeDTO> types);

} // namespace ostra
