// What plug-ins and fpcalc answer.
#include "fuzz/Fuzzing.h"
#include "ostrad/Fingerprint.h"
#include "ostrad/Modes.h"
#include "ostrad/Naming.h"
#include "ostrad/Placement.h"
#include "ostrad/Plugins.h"

#include <string>

using fuzzing::require;

namespace {

void requireLine(const std::string& text, std::size_t most) {
    require(!text.empty() && text.size() <= 3 * most, "a text is bounded and not empty");
    require(ostrad::validUtf8(text) == text, "a text is text");
    for (const char c : text) {
        require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f, "a text holds no controls");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = fuzzing::textOf(data, size);
    if (const auto description = ostrad::parsePluginDescription(text)) {
        requireLine(description->name, 100);
        require(!description->types.empty() && description->types.size() <= 32,
                "it is for something");
        for (const std::string& type : description->types) {
            require(ostrad::findEntityType(type) != nullptr, "the types are ours");
        }
    }
    if (const auto facts = ostrad::parsePluginFacts(text)) {
        if (facts->title) {
            requireLine(*facts->title, 500);
        }
        if (facts->summary) {
            requireLine(*facts->summary, 8000);
        }
        require(facts->year.value_or(0) >= 0 && facts->year.value_or(0) <= 9999, "years are years");
        auto placement =
            ostrad::placeFile(*ostrad::findMode("tv"), "Show/Season 1/S01E02 - Title.mkv");
        const std::string parent = placement->groups.back().sort;
        ostrad::correct(*placement,
                        {.title = facts->title, .number = facts->number, .year = facts->year});
        require(placement->item.sort.starts_with(parent + '\x01'), "it stays in its season");
    }
    if (const auto print = ostrad::parseFingerprint(text)) {
        require(print->size() <= 4200, "a fingerprint is bounded");
    }
    return 0;
}
