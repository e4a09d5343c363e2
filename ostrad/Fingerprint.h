#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <string_view>

namespace ostrad {

// What a recording sounds like, taken with fpcalc of the Chromaprint library: the same for the same
// recording in another file, whatever its name, tags and place. Only for files that ffprobe has
// read as media, since this tool takes every format. Blocks; see runTool for stopping.
std::optional<std::string> takeFingerprint(const std::string& fpcalc, const std::string& filePath,
                                           const std::atomic<bool>& stop);

// The JSON of fpcalc; pure. Nothing for silence, which is like any other.
std::optional<std::string> parseFingerprint(std::string_view text);

} // namespace ostrad
