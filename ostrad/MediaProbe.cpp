#include "ostrad/MediaProbe.h"

#include "ostrad/JsonMembers.h"
#include "ostrad/MediaCommand.h"
#include "ostrad/Naming.h"
#include "ostrad/ToolRunner.h"

#include <boost/json.hpp>

#include <charconv>
#include <cmath>
#include <cstdlib>

namespace ostrad {

namespace json = boost::json;

namespace {

constexpr std::size_t kLongestTag = 500;
constexpr double kLongestSeconds = 1e7;

std::optional<std::int64_t> milliseconds(const json::object& format) {
    const json::value* const value = format.if_contains("duration");
    const json::string* const text = value == nullptr ? nullptr : value->if_string();
    if (text == nullptr) {
        return std::nullopt;
    }
    double seconds = 0;
    std::string copy(*text);
    char* end = nullptr;
    seconds = std::strtod(copy.c_str(), &end);
    if (end == copy.c_str() || !std::isfinite(seconds) || seconds < 0 ||
        seconds > kLongestSeconds) {
        return std::nullopt;
    }
    return std::llround(seconds * 1000);
}

// "3", "3/12" or "2004-05-01": the number it begins with.
std::optional<int> leadingNumber(const std::string& text, int most) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && value > 0 && value <= most ? std::optional(value) : std::nullopt;
}

void readTags(const json::object& owner, MediaTags& tags) {
    const json::object* const found = objectAt(owner, "tags");
    if (found == nullptr) {
        return;
    }
    for (const auto& [key, value] : *found) {
        const json::string* const bytes = value.if_string();
        if (bytes == nullptr || bytes->empty() || bytes->size() > kLongestTag) {
            continue;
        }
        const std::string name = asciiLower({key.data(), key.size()});
        const std::string text = validUtf8({bytes->data(), bytes->size()});
        if (name == "title") {
            tags.title = text;
        } else if (name == "artist") {
            tags.artist = text;
        } else if (name == "album_artist" || name == "albumartist") {
            tags.albumArtist = text;
        } else if (name == "album") {
            tags.album = text;
        } else if (name == "disc" || name == "discnumber") {
            tags.disc = leadingNumber(text, 999);
        } else if (name == "track" || name == "tracknumber") {
            tags.track = leadingNumber(text, 9999);
        } else if (name == "date" || name == "year") {
            tags.year = leadingNumber(text, 9999);
        }
    }
}

} // namespace

std::optional<MediaFacts> parseProbe(std::string_view text) {
    boost::system::error_code error;
    const json::value document = json::parse({text.data(), text.size()}, error);
    const json::object* const root = error ? nullptr : document.if_object();
    const json::object* const format = root == nullptr ? nullptr : objectAt(*root, "format");
    if (format == nullptr) {
        return std::nullopt;
    }
    MediaFacts facts;
    facts.durationMs = milliseconds(*format);
    // Ogg keeps its tags in the stream; where both are present the file's own win.
    const json::value* const streams = root->if_contains("streams");
    if (streams != nullptr && streams->is_array() && !streams->get_array().empty()) {
        if (const json::object* const first = streams->get_array().front().if_object()) {
            readTags(*first, facts.tags);
        }
    }
    readTags(*format, facts.tags);
    return facts;
}

std::optional<MediaFacts> probeMedia(const std::string& ffprobePath, const std::string& filePath,
                                     const std::atomic<bool>& stop) {
    const auto output =
        runTool(mediaCommand(ffprobePath, {"-print_format", "json", "-show_entries",
                                           "format=duration:format_tags:stream=index:stream_tags",
                                           "file:" + filePath}),
                {}, stop);
    return output ? parseProbe(*output) : std::nullopt;
}

} // namespace ostrad
