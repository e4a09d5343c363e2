#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ostrad {

// The media modes as data: what each is called, which kinds of entity it has, and which file
// extensions belong to it. Everything lives as long as the program. Adding a mode is adding a row
// here and its naming rule in Placement.cpp.

struct EntityType {
    std::string_view id; // "music.track": the mode, a dot, the kind
    std::string_view name;
    std::string_view plural;
    bool isPerson = false;
};

enum class MediaKind { audio, video, document, game };

struct FileKind {
    std::string_view extension; // lower case, without the dot
    std::string_view contentType;
    MediaKind kind;
    std::string_view detail = {}; // the platform of a game file
};

struct Mode {
    std::string_view id;
    std::string_view name;
    std::span<const EntityType> entityTypes; // from the widest group to the single item
    std::string_view itemType;               // the type whose number is the size of a library
    std::span<const FileKind> files;
};

std::span<const Mode> modes();
const Mode* findMode(std::string_view id);
const EntityType* findEntityType(std::string_view id);

// The row for a file name of this mode, told by its extension in any case; null when the mode has
// no use for the file.
const FileKind* fileKind(const Mode& mode, std::string_view fileName);

std::string_view mediaKindName(MediaKind kind);

} // namespace ostrad
