#include "mac/OstraCore/ItemTypes.h"

#include "platform/Text.h"
#include "platform/Utf8.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace ostra {
namespace {

struct LeafSuffix {
    std::string_view modeId;
    std::string_view suffix;
};

constexpr std::array<LeafSuffix, 7> preferredLeafSuffixes{{
    {"audiobooks", ".book"},
    {"comics", ".issue"},
    {"games", ".game"},
    {"movies", ".movie"},
    {"music", ".track"},
    {"podcasts", ".episode"},
    {"tv", ".episode"},
}};

constexpr std::array<std::string_view, 6> fallbackSuffixes{".track", ".movie", ".episode",
                                                           ".game",  ".issue", ".book"};

constexpr std::array<std::string_view, 25> containerWords{
    "album",    "artist", "author",   "collection", "composer",  "decade", "developer",
    "director", "format", "genre",    "host",       "label",     "mood",   "network",
    "occasion", "person", "platform", "podcast",    "publisher", "season", "series",
    "show",     "studio", "writer",   "year"};

std::vector<std::string_view> leafSuffixes(std::string_view modeId) {
    const auto known = std::ranges::find(preferredLeafSuffixes, modeId, &LeafSuffix::modeId);
    if (known != preferredLeafSuffixes.end()) {
        return {known->suffix};
    }
    return {fallbackSuffixes.begin(), fallbackSuffixes.end()};
}

} // namespace

std::vector<EntityTypeDTO> countTypes(std::string_view modeId,
                                      std::span<const EntityTypeDTO> types) {
    const auto suffixes = leafSuffixes(modeId);
    std::vector<EntityTypeDTO> preferred;
    std::ranges::copy_if(types, std::back_inserter(preferred), [&](const EntityTypeDTO& type) {
        return std::ranges::any_of(
            suffixes, [&type](std::string_view suffix) { return type.id.ends_with(suffix); });
    });
    if (!preferred.empty() || types.empty()) {
        return preferred;
    }
    const auto item = std::ranges::find_if(
        types, [](const EntityTypeDTO& type) { return !type.isPerson && !isKnownContainer(type); });
    return {item == types.end() ? types.front() : *item};
}

bool isKnownContainer(const EntityTypeDTO& type) {
    const std::string id = platform::lowerCased(type.id);
    const std::string name = platform::lowerCased(type.name);
    return std::ranges::any_of(containerWords, [&](std::string_view word) {
        return name == word ||
               (id.ends_with(word) &&
                std::string_view(id).substr(0, id.size() - word.size()).ends_with('.'));
    });
}

ItemLabels itemLabels(std::span<const EntityTypeDTO> types) {
    if (types.size() != 1) {
        return {};
    }
    const EntityTypeDTO& type = types.front();
    const std::string singular(platform::trimmed(type.name));
    if (singular.empty()) {
        return {};
    }
    const std::string plural(platform::trimmed(type.plural.value_or("")));
    return {.singular = platform::lowerCased(singular),
            .plural = platform::lowerCased(plural.empty() ? singular + "s" : plural)};
}

} // namespace ostra
