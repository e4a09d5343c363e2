#include "ostrad/MediaTracks.h"

#include "ostrad/JsonMembers.h"
#include "ostrad/MediaCommand.h"
#include "ostrad/Naming.h"
#include "ostrad/ToolRunner.h"

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace ostrad {

namespace json = boost::json;

namespace {

std::string textAt(const json::object* from, std::string_view name) {
    const json::value* const member =
        from == nullptr ? nullptr : from->if_contains({name.data(), name.size()});
    const json::string* const text = member == nullptr ? nullptr : member->if_string();
    constexpr std::size_t longest = 200;
    return text == nullptr
               ? std::string()
               : validUtf8({text->data(), std::min<std::size_t>(text->size(), longest)});
}

std::int64_t numberAt(const json::object* from, std::string_view name) {
    const json::value* const member =
        from == nullptr ? nullptr : from->if_contains({name.data(), name.size()});
    const std::int64_t* const number = member == nullptr ? nullptr : member->if_int64();
    return number == nullptr ? 0 : *number;
}

// Seconds in decimal digits; 0 for what is no such time, or longer than a thousand hours.
std::int64_t millisecondsAt(const json::object& from, std::string_view name) {
    const double seconds = std::strtod(textAt(&from, name).c_str(), nullptr);
    return std::isfinite(seconds) && seconds > 0 && seconds < 3'600'000
               ? std::llround(seconds * 1000)
               : 0;
}

std::int64_t between(std::int64_t value, std::int64_t least, std::int64_t most,
                     std::int64_t other) {
    return value >= least && value <= most ? value : other;
}

std::string videoCodec(const json::object& stream) {
    const std::string name = textAt(&stream, "codec_name");
    const std::string profile = textAt(&stream, "profile");
    const std::int64_t level = numberAt(&stream, "level");
    const bool tenBits = textAt(&stream, "pix_fmt").find("10") != std::string::npos;
    if (name == "h264") {
        const int number = tenBits                                    ? 0x6e
                           : profile == "High"                        ? 0x64
                           : profile == "Main"                        ? 0x4d
                           : profile.find("Baseline") != profile.npos ? 0x42
                                                                      : 0x64;
        return fmt::format("avc1.{:02x}00{:02x}", number, between(level, 10, 62, 40));
    }
    if (name == "hevc") {
        return fmt::format("hvc1.{}.L{}.B0", tenBits ? "2.4" : "1.6", between(level, 30, 186, 120));
    }
    if (name == "av1") {
        return fmt::format("av01.0.{:02}M.{}", between(level, 0, 23, 8), tenBits ? "10" : "08");
    }
    if (name == "vp9") {
        return tenBits ? "vp09.02.40.10" : "vp09.00.40.08";
    }
    return name;
}

std::string audioCodec(const json::object& stream) {
    const std::string name = textAt(&stream, "codec_name");
    constexpr std::array<std::pair<std::string_view, std::string_view>, 5> words{
        {{"aac", "mp4a.40.2"},
         {"mp3", "mp4a.6b"},
         {"ac3", "ac-3"},
         {"eac3", "ec-3"},
         {"dts", "dtsc"}}};
    const auto found =
        std::ranges::find(words, name, &std::pair<std::string_view, std::string_view>::first);
    return found == words.end() ? name : std::string(found->second);
}

// An MP4 describes its tracks before their first frame, so the description must be known by then.
bool isDescribed(const json::object& stream) {
    return numberAt(&stream, "extradata_size") > 0;
}

// Pictures that browsers play, if of a profile and level they know: eight bits and 4:2:0.
std::string copiedVideo(const json::object& stream) {
    constexpr std::array<std::string_view, 4> profiles{"Constrained Baseline", "Baseline", "Main",
                                                       "High"};
    const std::string pixels = textAt(&stream, "pix_fmt");
    const bool isCommon = textAt(&stream, "codec_name") == "h264" &&
                          numberAt(&stream, "level") > 0 &&
                          (pixels == "yuv420p" || pixels == "yuvj420p") &&
                          std::ranges::find(profiles, textAt(&stream, "profile")) != profiles.end();
    return isCommon && isDescribed(stream) ? videoCodec(stream) : std::string();
}

std::string copiedAudio(const json::object& stream) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 3> words{
        {{"LC", "mp4a.40.2"}, {"HE-AAC", "mp4a.40.5"}, {"HE-AACv2", "mp4a.40.29"}}};
    const auto found = std::ranges::find(words, textAt(&stream, "profile"),
                                         &std::pair<std::string_view, std::string_view>::first);
    const bool isCommon = textAt(&stream, "codec_name") == "aac" && found != words.end() &&
                          between(numberAt(&stream, "channels"), 1, 6, 0) != 0;
    return isCommon && isDescribed(stream) ? std::string(found->second) : std::string();
}

bool isText(const std::string& codec) {
    constexpr std::array<std::string_view, 6> formats{"subrip", "ass",      "ssa",
                                                      "webvtt", "mov_text", "text"};
    return std::ranges::find(formats, codec) != formats.end();
}

std::string typeOf(const std::string& format, bool video, std::string_view fileName,
                   const std::string& codecs) {
    const auto holds = [&format](std::string_view word) {
        return format.find(word) != std::string::npos;
    };
    const std::string family = video ? "video/" : "audio/";
    const std::string with = codecs.empty() ? std::string() : "; codecs=\"" + codecs + "\"";
    if (holds("mp4")) {
        return family + "mp4" + with;
    }
    if (holds("matroska")) {
        return family + (fileName.ends_with(".webm") ? "webm" : "x-matroska") + with;
    }
    if (format == "ogg") {
        return family + "ogg" + with;
    }
    return video              ? std::string()
           : format == "mp3"  ? "audio/mpeg"
           : format == "wav"  ? "audio/wav"
           : format == "flac" ? "audio/flac"
           : format == "aac"  ? "audio/aac"
                              : std::string();
}

} // namespace

std::optional<MediaTracks> parseTracks(std::string_view text, std::string_view fileName) {
    boost::system::error_code error;
    const json::value document = json::parse({text.data(), text.size()}, error);
    const json::object* const root = error ? nullptr : document.if_object();
    const json::object* const format = root == nullptr ? nullptr : objectAt(*root, "format");
    const json::value* const streams = root == nullptr ? nullptr : root->if_contains("streams");
    if (format == nullptr || streams == nullptr || !streams->is_array()) {
        return std::nullopt;
    }
    MediaTracks tracks;
    tracks.durationMs = millisecondsAt(*format, "duration");
    std::string codecs;
    std::int64_t subtitles = 0;
    for (const json::value& entry : streams->get_array()) {
        const json::object* const stream = entry.if_object();
        if (stream == nullptr) {
            continue;
        }
        const std::string kind = textAt(stream, "codec_type");
        const std::string codec = textAt(stream, "codec_name");
        const json::object* const tags = objectAt(*stream, "tags");
        if (kind == "video") {
            const bool isCover = numberAt(objectAt(*stream, "disposition"), "attached_pic") != 0;
            if (!isCover && !tracks.hasVideo) {
                tracks.hasVideo = true;
                tracks.copyCodec = copiedVideo(*stream);
                codecs.insert(0, videoCodec(*stream) + (codecs.empty() ? "" : ","));
            }
        } else if (kind == "audio" && tracks.audio.size() < kMostTracks) {
            if (tracks.audio.empty()) {
                codecs += (codecs.empty() ? "" : ",") + audioCodec(*stream);
            }
            tracks.audio.push_back({.codec = codec,
                                    .language = textAt(tags, "language"),
                                    .title = textAt(tags, "title"),
                                    .channels = numberAt(stream, "channels"),
                                    .copyCodec = copiedAudio(*stream)});
        } else if (kind == "subtitle") {
            if (isText(codec) && tracks.text.size() < kMostTracks) {
                tracks.text.push_back({.codec = codec,
                                       .language = textAt(tags, "language"),
                                       .title = textAt(tags, "title")});
                tracks.textIndexes.push_back(subtitles);
            }
            ++subtitles;
        }
    }
    if (!tracks.hasVideo && tracks.audio.empty()) {
        return std::nullopt;
    }
    const std::string kind = textAt(format, "format_name");
    tracks.directType = typeOf(kind, tracks.hasVideo, fileName, codecs);
    tracks.hasIndex = kind != "mpegts" && kind != "mpeg";
    const json::value* const chapters = root->if_contains("chapters");
    if (chapters != nullptr && chapters->is_array()) {
        for (const json::value& entry : chapters->get_array()) {
            const json::object* const chapter = entry.if_object();
            if (chapter != nullptr && tracks.chapters.size() < kMostChapters) {
                tracks.chapters.push_back({.startMs = millisecondsAt(*chapter, "start_time"),
                                           .title = textAt(objectAt(*chapter, "tags"), "title")});
            }
        }
    }
    return tracks;
}

std::optional<MediaTracks> readTracks(const std::string& ffprobePath, const std::string& filePath,
                                      const std::atomic<bool>& stop) {
    const auto output = runTool(
        mediaCommand(
            ffprobePath,
            {"-print_format", "json", "-show_chapters", "-show_entries",
             "format=duration,format_name:stream=codec_type,codec_name,profile,level,pix_fmt,"
             "extradata_size,"
             "channels:"
             "stream_tags=language,title:stream_disposition=attached_pic:chapter=start_time:"
             "chapter_tags=title",
             "file:" + filePath}),
        {}, stop);
    return output ? parseTracks(*output, filePath) : std::nullopt;
}

} // namespace ostrad
