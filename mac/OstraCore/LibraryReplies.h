// What the server says about its modes and libraries, as records. A reply in which one record lacks
// a required member, or has a member of a wrong type, is undecodable as a whole; unknown members
// are ignored and null stands for an optional member that is absent. Pure; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostra {

struct EntityTypeDTO {
    std::string id;   // dotted; the last segment names the kind: "music.track"
    std::string name; // for one of them
    std::optional<std::string> plural = {};
    bool isPerson = false;

    bool operator==(const EntityTypeDTO&) const = default;
};

struct ModeDTO {
    std::string id;
    std::string name;
    std::vector<EntityTypeDTO> entityTypes = {};

    bool operator==(const ModeDTO&) const = default;
};

struct LibraryDTO {
    std::string modeId;

    bool operator==(const LibraryDTO&) const = default;
};

[[nodiscard]] std::optional<std::vector<ModeDTO>> parseModes(std::string_view data);
[[nodiscard]] std::optional<std::vector<LibraryDTO>> parseLibraries(std::string_view data);

// The number in a header field: decimal digits after an optional sign, and nothing else, within 64
// bits.
[[nodiscard]] std::optional<std::int64_t> parseTotal(std::string_view field);

} // namespace ostra
