// The routes of playing: what can be chosen of a file, streams for browsers that cannot play it as
// it is, subtitles, and how far somebody has come.
#include "ostrad/CutPoints.h"
#include "ostrad/MediaTracks.h"
#include "ostrad/Modes.h"
#include "ostrad/Replies.h"
#include "ostrad/RequestBody.h"
#include "ostrad/RequestParameters.h"
#include "ostrad/SafeFile.h"
#include "ostrad/Site.h"
#include "ostrad/Subtitles.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value_from.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <atomic>

namespace ostrad {

namespace json = boost::json;

namespace {

constexpr std::int64_t kLongest = std::int64_t{1000} * 3'600'000; // of any media

json::string text(std::string_view bytes) {
    return json::string(bytes.data(), bytes.size());
}

Reply noSuchMedia() {
    return errorReply(404, "There is no such audio or video.");
}

Reply plain(std::string_view contentType, std::string body, std::string_view cacheControl) {
    Reply reply = jsonReply(200, std::move(body));
    for (auto& [name, value] : reply.headers) {
        if (name == "Content-Type") {
            value = contentType;
        } else if (name == "Cache-Control") {
            value = cacheControl;
        }
    }
    return reply;
}

const std::atomic<bool>& never() {
    static const std::atomic<bool> stop = false;
    return stop;
}

// The full path, if it is a regular file of the library.
std::optional<std::string> checkedPath(const MediaFile& file) {
    return openFileBeneath(file.libraryPath, file.path)
               ? std::optional(file.libraryPath + '/' + file.path)
               : std::nullopt;
}

// What a client is asked about what could be copied, and answers with.
std::string copyType(std::string_view family, const std::string& codec) {
    return codec.empty() ? std::string() : fmt::format("{}/mp4; codecs=\"{}\"", family, codec);
}

json::object tracksJson(const MediaTracks& tracks, const std::vector<SubtitleFile>& beside) {
    json::array audio;
    for (const AudioTrack& track : tracks.audio) {
        audio.push_back(json::object{{"codec", text(track.codec)},
                                     {"language", text(track.language)},
                                     {"title", text(track.title)},
                                     {"channels", track.channels},
                                     {"copyType", text(copyType("audio", track.copyCodec))}});
    }
    json::array subtitles;
    for (std::size_t index = 0; index < tracks.text.size(); ++index) {
        subtitles.push_back(json::object{{"track", fmt::format("s{}", tracks.textIndexes[index])},
                                         {"language", text(tracks.text[index].language)},
                                         {"title", text(tracks.text[index].title)}});
    }
    for (std::size_t index = 0; index < beside.size(); ++index) {
        subtitles.push_back(json::object{{"track", fmt::format("f{}", index)},
                                         {"language", text(beside[index].language)},
                                         {"title", ""}});
    }
    json::array chapters;
    for (const Chapter& chapter : tracks.chapters) {
        chapters.push_back(
            json::object{{"startMs", chapter.startMs}, {"title", text(chapter.title)}});
    }
    return {{"durationMs", tracks.durationMs},
            {"kind", tracks.hasVideo ? "video" : "audio"},
            {"directType", text(tracks.directType)},
            {"copyType", text(copyType("video", tracks.copyCodec))},
            {"audio", std::move(audio)},
            {"subtitles", std::move(subtitles)},
            {"chapters", std::move(chapters)}};
}

// The media types a client says it plays; nothing when it says something else.
std::optional<std::vector<std::string>> typesIn(const json::value* list) {
    std::vector<std::string> types;
    if (list == nullptr) {
        return types;
    }
    constexpr std::size_t most = 100;
    if (!list->is_array() || list->get_array().size() > most) {
        return std::nullopt;
    }
    for (const json::value& type : list->get_array()) {
        if (!type.is_string()) {
            return std::nullopt;
        }
        types.emplace_back(type.get_string().data(), type.get_string().size());
    }
    return types;
}

struct Tools {
    std::string ffmpeg;
    std::string ffprobe;
};

// What is copied of the file, as far as the client plays it and it can be cut.
LiveStream::Source sourceOf(const MediaTracks& tracks, std::int64_t audio,
                            const std::vector<std::string>& plays, const Tools& tools,
                            const std::string& path) {
    const auto isPlayed = [&plays](const std::string& type) {
        return !type.empty() && std::ranges::find(plays, type) != plays.end();
    };
    LiveStream::Source source{.ffmpeg = tools.ffmpeg,
                              .file = path,
                              .hasVideo = tracks.hasVideo,
                              .audioTrack = tracks.audio.empty() ? -1 : audio,
                              .durationMs = tracks.durationMs,
                              .hasIndex = tracks.hasIndex};
    if (isPlayed(copyType("video", tracks.copyCodec))) {
        source.cuts = readCutPoints(tools.ffprobe, path, tracks.durationMs, never());
        source.videoCodec = source.cuts.empty() ? std::string() : tracks.copyCodec;
    }
    if (tracks.hasVideo && !tracks.audio.empty()) {
        const std::string& codec = tracks.audio[static_cast<std::size_t>(audio)].copyCodec;
        source.audioCodec = isPlayed(copyType("audio", codec)) ? codec : std::string();
    }
    return source;
}

json::array copiedKinds(const LiveStream::Source& source) {
    json::array kinds;
    if (!source.videoCodec.empty()) {
        kinds.emplace_back("video");
    }
    if (!source.audioCodec.empty()) {
        kinds.emplace_back("audio");
    }
    return kinds;
}

Reply partReply(const LiveStream::Part& part, std::string_view contentType) {
    switch (part.trouble) {
    case LiveStream::Trouble::none:
        return plain(contentType, *part.bytes, "private, no-store");
    case LiveStream::Trouble::busy: {
        Reply reply = errorReply(503, "Too many films are being converted at the moment.");
        reply.headers.emplace_back("Retry-After", "3");
        return reply;
    }
    case LiveStream::Trouble::late: {
        Reply reply = errorReply(503, "This part takes longer than expected.");
        reply.headers.emplace_back("Retry-After", "1");
        return reply;
    }
    case LiveStream::Trouble::unreadable:
        break;
    }
    return errorReply(404, "There is no such part.");
}

} // namespace

std::optional<MediaFile> Site::playable(const Call& call) {
    const auto id = wholeNumber(call.argument);
    auto file = id ? catalogue.mediaFile(*id) : std::nullopt;
    const Mode* const mode = file ? findMode(file->modeId) : nullptr;
    const FileKind* const kind = file && mode != nullptr ? fileKind(*mode, file->path) : nullptr;
    const bool plays =
        kind != nullptr && (kind->kind == MediaKind::audio || kind->kind == MediaKind::video);
    return plays ? std::move(file) : std::nullopt;
}

Reply Site::tracks(const Call& call) {
    const auto file = playable(call);
    if (!file) {
        return noSuchMedia();
    }
    if (settings.ffprobe.empty()) {
        return errorReply(501, "Files cannot be examined: there is no ffprobe.");
    }
    return onWorker([file = *file, ffprobe = settings.ffprobe] {
        const auto path = checkedPath(file);
        const auto tracks = path ? readTracks(ffprobe, *path, never()) : std::nullopt;
        return tracks ? jsonReply(200, json::serialize(tracksJson(
                                           *tracks, subtitlesBeside(file.libraryPath, file.path))))
                      : errorReply(422, "This file cannot be read as audio or video.");
    });
}

Reply Site::subtitles(const Call& call) {
    const auto file = playable(call);
    const std::string_view track = call.request.parameter("track").value_or("");
    const auto index = track.empty() ? std::nullopt : wholeNumber(track.substr(1), 1000);
    if (!file || !index || (track.front() != 's' && track.front() != 'f')) {
        return errorReply(404, "There are no such subtitles.");
    }
    if (settings.ffmpeg.empty()) {
        return errorReply(501, "Subtitles cannot be converted: there is no ffmpeg.");
    }
    return onWorker(
        [file = *file, ffmpeg = settings.ffmpeg, index = *index, isInside = track.front() == 's'] {
            std::optional<std::string> text;
            if (isInside) {
                const auto path = checkedPath(file);
                text = path ? extractSubtitles(ffmpeg, *path, index, never()) : std::nullopt;
            } else if (const auto beside = subtitlesBeside(file.libraryPath, file.path);
                       static_cast<std::size_t>(index) < beside.size()) {
                const auto path = checkedPath({.libraryPath = file.libraryPath,
                                               .path = beside[static_cast<std::size_t>(index)].path,
                                               .modeId = file.modeId});
                text = path ? convertSubtitleFile(ffmpeg, *path, never()) : std::nullopt;
            }
            return text ? plain("text/vtt; charset=utf-8", *std::move(text), "private, no-cache")
                        : errorReply(404, "There are no such subtitles.");
        });
}

Reply Site::openStream(const Call& call) {
    const auto body = jsonBody(call.request);
    if (!body) {
        return errorReply(body.error().status, body.error().sentence);
    }
    const auto file = playable(call);
    if (!file) {
        return noSuchMedia();
    }
    if (settings.ffmpeg.empty() || settings.ffprobe.empty()) {
        return errorReply(501, "Files cannot be converted: there is no ffmpeg.");
    }
    const json::value* const wanted = body->if_contains("audio");
    const std::int64_t audio = wanted != nullptr && wanted->is_int64() ? wanted->get_int64() : 0;
    auto plays = typesIn(body->if_contains("plays"));
    if (!plays) {
        return errorReply(400, "plays must be a list of media types.");
    }
    return onWorker([file = *file, audio, plays = *std::move(plays), all = streams,
                     tools = Tools{.ffmpeg = settings.ffmpeg, .ffprobe = settings.ffprobe}] {
        const auto path = checkedPath(file);
        const auto tracks = path ? readTracks(tools.ffprobe, *path, never()) : std::nullopt;
        if (!tracks || tracks->durationMs <= 0) {
            return errorReply(422, "This file cannot be read as audio or video.");
        }
        const auto most = static_cast<std::int64_t>(tracks->audio.size());
        if (audio < 0 || (most > 0 && audio >= most)) {
            return errorReply(400, "There is no such audio track.");
        }
        LiveStream::Source source = sourceOf(*tracks, audio, plays, tools, *path);
        json::array copied = copiedKinds(source);
        const std::string name = all->open(std::move(source));
        const auto stream = all->find(name);
        return jsonReply(
            201, json::serialize(json::object{
                     {"id", text(name)},
                     {"playlist", text(fmt::format("/hls/{}-index.m3u8", name))},
                     {"init", text(fmt::format("/hls/{}-init.mp4", name))},
                     {"part", text(fmt::format("/hls/{}-", name))},
                     {"mediaType", text(stream ? stream->mediaType() : "")},
                     {"copied", std::move(copied)},
                     {"parts", stream ? stream->parts() : 0},
                     {"startsMs", stream ? json::value_from(stream->startsMs()) : json::array()},
                     {"durationMs", tracks->durationMs}}));
    });
}

Reply Site::closeStream(const Call& call) {
    // Ending ffmpeg takes a moment.
    return onWorker([all = streams, name = std::string(call.argument)] {
        return all->close(name) ? jsonReply(200, "{}")
                                : errorReply(404, "There is no such stream.");
    });
}

Reply Site::streamPart(const Call& call) {
    const std::size_t dash = call.argument.find('-');
    if (dash == std::string_view::npos) {
        return errorReply(404, "There is no such stream.");
    }
    const auto stream = streams->find(call.argument.substr(0, dash));
    if (!stream) {
        // Forgotten, closed, or of a server that was here before: its viewer may open another one.
        return errorReply(410, "This stream is over.");
    }
    const std::string_view part = call.argument.substr(dash + 1);
    if (part == "index.m3u8") {
        return plain("application/vnd.apple.mpegurl",
                     stream->playlist(std::string(call.argument.substr(0, dash))),
                     "private, no-store");
    }
    if (part == "init.mp4") {
        return onWorker([stream] { return partReply(stream->initialization(), "video/mp4"); });
    }
    const auto index = part.ends_with(".m4s")
                           ? wholeNumber(part.substr(0, part.size() - 4), stream->parts() - 1)
                           : std::nullopt;
    if (!index) {
        return errorReply(404, "There is no such part.");
    }
    return onWorker(
        [stream, index = *index] { return partReply(stream->part(index), "video/iso.segment"); });
}

Reply Site::setProgress(const Call& call) {
    const auto body = jsonBody(call.request);
    if (!body) {
        return errorReply(body.error().status, body.error().sentence);
    }
    const json::value* const position = body->if_contains("positionMs");
    const json::value* const watched = body->if_contains("watched");
    if (position == nullptr || !position->is_int64() || position->get_int64() < 0 ||
        position->get_int64() > kLongest || (watched != nullptr && !watched->is_bool())) {
        return errorReply(400, "positionMs must be a number from 0 up, watched true or false.");
    }
    const auto id = wholeNumber(call.argument);
    const auto held = turn.request();
    const bool done =
        id && catalogue.setProgress(*id, position->get_int64(),
                                    watched == nullptr ? std::nullopt
                                                       : std::optional(watched->get_bool()));
    return done ? jsonReply(200, "{}") : errorReply(404, "There is no such item.");
}

} // namespace ostrad
