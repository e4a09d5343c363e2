#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrad {

// Text subtitles as WebVTT, converted by ffmpeg: those inside of a film, and those in files beside
// it that begin with its name (`Film.srt`, `Film.en.ass`). Blocks; bounded in time and size.

struct SubtitleFile {
    std::string path;     // relative to the library, like the film's
    std::string language; // what stands between the film's name and the extension; may be empty
};

// In the order of their names, at most 64.
std::vector<SubtitleFile> subtitlesBeside(const std::string& libraryPath,
                                          std::string_view filmPath);

std::optional<std::string> convertSubtitleFile(const std::string& ffmpeg, const std::string& path,
                                               const std::atomic<bool>& stop);
std::optional<std::string> extractSubtitles(const std::string& ffmpeg, const std::string& filmPath,
                                            std::int64_t track, const std::atomic<bool>& stop);

} // namespace ostrad
