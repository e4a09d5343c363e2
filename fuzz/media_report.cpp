// What ffprobe says about a file: the file's name in the first line, then the JSON.
#include "fuzz/Fuzzing.h"
#include "ostrad/MediaProbe.h"
#include "ostrad/MediaTracks.h"
#include "ostrad/Naming.h"

#include <string>

using fuzzing::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto text = fuzzing::textOf(data, size);
    const auto name = fuzzing::takeLine(text);
    if (const auto facts = ostrad::parseProbe(text)) {
        require(facts->durationMs.value_or(0) >= 0, "nothing lasts less than no time");
        require(ostrad::validUtf8(facts->tags.title) == facts->tags.title, "tags are text");
    }
    if (const auto tracks = ostrad::parseTracks(text, name)) {
        require(tracks->hasVideo || !tracks->audio.empty(), "there is something to play");
        require(tracks->audio.size() <= ostrad::kMostTracks &&
                    tracks->text.size() <= ostrad::kMostTracks &&
                    tracks->chapters.size() <= ostrad::kMostChapters,
                "there is no end of nothing");
        require(tracks->text.size() == tracks->textIndexes.size(), "each text has its index");
        require(tracks->durationMs >= 0, "nothing lasts less than no time");
        require(ostrad::validUtf8(tracks->directType) == tracks->directType, "types are text");
    }
    return 0;
}
