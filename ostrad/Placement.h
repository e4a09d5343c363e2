#pragma once

#include "ostrad/Modes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrad {

// Where a file belongs in its library: the groups above it, from the widest, and the item itself.
// Decided from the path inside the library and, where they have been read, the file's own tags;
// pure, so that the same path always lands in the same place.

struct Node {
    std::string_view type; // an EntityType id
    std::string key;       // what makes two files meet in one group; the path for an item
    std::string title;
    std::string sort; // byte order is display order among nodes of one type
    std::optional<int> number;
    std::optional<int> year;
};

struct Placement {
    std::vector<Node> groups;
    Node item;
};

struct MediaTags {
    std::string title;
    std::string artist;
    std::string albumArtist;
    std::string album;
    std::optional<int> disc;
    std::optional<int> track;
    std::optional<int> year;
};

// The path is relative, components separated by '/', in whatever bytes the file system holds.
// Nothing for a file the mode has no use for: another extension, a trailer, a sample.
std::optional<Placement> placeFile(const Mode& mode, std::string_view path,
                                   const MediaTags& tags = {});

// What somebody knows better about the item itself than its path and its tags.
struct Correction {
    std::optional<std::string> title;
    std::optional<int> number;
    std::optional<int> year;
};
void correct(Placement& placement, const Correction& correction);

} // namespace ostrad
