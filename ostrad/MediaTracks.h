#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrad {

// What can be chosen of a media file, and in which words a browser can be asked whether it plays it
// as it is. Read with ffprobe; the file and the answer are untrusted and bounded (MediaProbe.h).

struct AudioTrack {
    std::string codec; // as ffmpeg calls it
    std::string language;
    std::string title;
    std::int64_t channels = 0;
    std::string copyCodec; // in the words of RFC 6381, where it may be copied into an MP4; or empty
};

struct SubtitleTrack {
    std::string codec;
    std::string language;
    std::string title;
};

struct Chapter {
    std::int64_t startMs = 0;
    std::string title;
};

struct MediaTracks {
    std::int64_t durationMs = 0;
    bool hasVideo = false;         // cover pictures are none
    bool hasIndex = true;          // without: who seeks comes out anywhere between two key frames
    std::string directType;        // the media type with its codecs (RFC 6381); empty: ask nothing
    std::string copyCodec;         // of the pictures, as for a track of sound
    std::vector<AudioTrack> audio; // in ffmpeg's order: 0:a:0, 0:a:1, ...
    std::vector<SubtitleTrack> text; // those that are text; `textIndexes` are ffmpeg's
    std::vector<std::int64_t> textIndexes;
    std::vector<Chapter> chapters;
};

inline constexpr std::size_t kMostTracks = 64; // of a kind; a file with more is lying
inline constexpr std::size_t kMostChapters = 500;

// Nothing when the file cannot be read as media.
std::optional<MediaTracks> readTracks(const std::string& ffprobePath, const std::string& filePath,
                                      const std::atomic<bool>& stop);

// The JSON of ffprobe; pure. The name's extension tells WebM from other Matroska files.
std::optional<MediaTracks> parseTracks(std::string_view text, std::string_view fileName);

} // namespace ostrad
