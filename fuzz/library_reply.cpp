// The server's replies about modes and libraries, and everything that is made of them. The first
// line of the input is a header field, the rest a reply.
#include "fuzz/Fuzzing.h"
#include "mac/OstraCore/ItemTypes.h"
#include "mac/OstraCore/LibraryReplies.h"
#include "platform/Utf8.h"

#include <string>

using fuzzing::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto text = fuzzing::textOf(data, size);
    const auto field = fuzzing::takeLine(text);
    if (const auto total = ostra::parseTotal(field)) {
        require(ostra::parseTotal(std::to_string(*total)) == total, "a total reads as itself");
    }
    if (const auto libraries = ostra::parseLibraries(text)) {
        for (const auto& library : *libraries) {
            require(platform::isValidUtf8(library.modeId), "ids are text");
        }
    }
    const auto modes = ostra::parseModes(text);
    if (!modes) {
        return 0;
    }
    for (const auto& mode : *modes) {
        const auto counted = ostra::countTypes(mode.id, mode.entityTypes);
        require(counted.empty() == mode.entityTypes.empty(), "a mode with types counts something");
        const auto labels = ostra::itemLabels(counted);
        require(!labels.singular.empty() && !labels.plural.empty(), "items have names");
        require(platform::isValidUtf8(labels.singular) && platform::isValidUtf8(labels.plural),
                "names are text");
    }
    return 0;
}
