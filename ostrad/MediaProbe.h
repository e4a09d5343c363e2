#pragma once

#include "ostrad/Placement.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ostrad {

// What a media file says about itself, read with ffprobe. The file is untrusted and so is the
// answer: time and size are bounded, the tool may open local files only, and every value is
// checked. Blocks the calling thread; see runTool for stopping.

struct MediaFacts {
    std::optional<std::int64_t> durationMs;
    MediaTags tags;
};

// Nothing when the file cannot be read as media.
std::optional<MediaFacts> probeMedia(const std::string& ffprobePath, const std::string& filePath,
                                     const std::atomic<bool>& stop);

// The JSON of ffprobe -show_format -show_streams; pure.
std::optional<MediaFacts> parseProbe(std::string_view text);

} // namespace ostrad
