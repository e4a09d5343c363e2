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

// The language of a file of that name beside a film, empty when the name tells none; nothing when
// it is no subtitle file of that film. Pure.
std::optional<std::string> subtitleLanguage(std::string_view filmStem, std::string_view name);

// WebVTT (https://www.w3.org/TR/webvtt1/) as a browser may get it: nothing when the text does not
// begin like one. Pure.
std::optional<std::string> checkedWebVtt(std::string_view text);

// In the order of their names, at most 64.
std::vector<SubtitleFile> subtitlesBeside(const std::string& libraryPath,
                                          std::string_view filmPath);

std::optional<std::string> convertSubtitleFile(const std::string& ffmpeg, const std::string& path,
                                               const std::atomic<bool>& stop);
std::optional<std::string> extractSubtitles(const std::string& ffmpeg, const std::string& filmPath,
                                            std::int64_t track, const std::atomic<bool>& stop);

} // namespace ostrad
