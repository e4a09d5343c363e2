#include "ostrad/Naming.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

namespace ostrad {

namespace {

// A token that begins the technical part of a release name.
constexpr std::array<std::string_view, 27> kReleaseTags{
    "480p",   "576p",  "720p",  "1080p", "1080i",  "2160p", "4k",    "uhd",  "hdr",
    "bluray", "brrip", "bdrip", "remux", "webrip", "web",   "webdl", "hdtv", "dvdrip",
    "dvd",    "x264",  "x265",  "h264",  "h265",   "hevc",  "av1",   "xvid", "web-dl",
};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isAlnum(char c) {
    const char lower = static_cast<char>(c | 0x20);
    return isDigit(c) || (lower >= 'a' && lower <= 'z');
}

bool isSeparator(char c) {
    return c == ' ' || c == '.' || c == '_' || c == '-';
}

std::string_view trim(std::string_view text, std::string_view characters = " \t") {
    const std::size_t first = text.find_first_not_of(characters);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(characters) - first + 1);
}

// The digits at this place, at most so many; nothing when there are none.
std::string_view digitsAt(std::string_view text, std::size_t at, std::size_t most) {
    std::size_t end = at;
    while (end < text.size() && end - at < most && isDigit(text[end])) {
        ++end;
    }
    return at < text.size() ? text.substr(at, end - at) : std::string_view{};
}

int toInt(std::string_view digits) {
    int value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return value;
}

std::optional<int> wholeNumber(std::string_view text) {
    if (text.empty() || text.size() > 4 || !std::ranges::all_of(text, isDigit)) {
        return std::nullopt;
    }
    return toInt(text);
}

std::optional<int> yearOf(std::string_view token) {
    const auto value = token.size() == 4 ? wholeNumber(token) : std::nullopt;
    return value && *value >= 1900 && *value < 2040 ? value : std::nullopt;
}

bool isReleaseTag(std::string_view token) {
    return std::ranges::find(kReleaseTags, asciiLower(token)) != kReleaseTags.end();
}

std::string spaced(std::string_view stem) {
    std::string text(stem);
    if (text.find(' ') == std::string::npos) {
        std::ranges::replace(text, '.', ' ');
    }
    std::ranges::replace(text, '_', ' ');
    return text;
}

std::vector<std::string_view> words(std::string_view text) {
    std::vector<std::string_view> found;
    while (!(text = trim(text)).empty()) {
        const std::size_t end = std::min(text.find(' '), text.size());
        found.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return found;
}

std::string joined(const std::vector<std::string_view>& parts, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += i == 0 ? "" : " ";
        text += parts[i];
    }
    return text;
}

// The title, or the whole name when nothing would be left.
std::string orWhole(std::string_view title, std::string_view stem) {
    const std::string_view trimmed = trim(title, " \t-_.");
    return validUtf8(trimmed.empty() ? trim(stem) : trimmed);
}

// The length of the valid UTF-8 sequence at this place (RFC 3629), 0 when it is broken.
std::size_t sequenceLength(std::string_view bytes, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const unsigned char lead = byte(at);
    const std::size_t length = lead < 0x80                    ? 1
                               : lead >= 0xC2 && lead <= 0xDF ? 2
                               : (lead & 0xF0) == 0xE0        ? 3
                               : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                              : 0;
    if (length == 0 || at + length > bytes.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const unsigned char second = length > 1 ? byte(at + 1) : 0;
    const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool outside = (lead == 0xED && second > 0x9F) || (lead == 0xF4 && second > 0x8F);
    return overlong || outside ? 0 : length;
}

struct EpisodeMark {
    std::size_t begin = 0;
    std::size_t end = 0;
    int season = 0;
    int episode = 0;
};

// "S01E02", "s1.e2" or "1x02" beginning exactly here.
std::optional<EpisodeMark> episodeMarkAt(std::string_view text, std::size_t at) {
    const bool lettered = (text[at] | 0x20) == 's';
    const std::string_view season = digitsAt(text, at + (lettered ? 1 : 0), lettered ? 4 : 2);
    if (season.empty()) {
        return std::nullopt;
    }
    std::size_t next = at + (lettered ? 1 : 0) + season.size();
    if (lettered && next < text.size() && isSeparator(text[next])) {
        ++next;
    }
    if (next >= text.size() || (text[next] | 0x20) != (lettered ? 'e' : 'x')) {
        return std::nullopt;
    }
    const std::string_view episode = digitsAt(text, next + 1, 4);
    const std::size_t end = next + 1 + episode.size();
    const bool longEnough = lettered ? !episode.empty() : episode.size() >= 2;
    if (!longEnough || (end < text.size() && isDigit(text[end]))) {
        return std::nullopt;
    }
    return EpisodeMark{at, end, toInt(season), toInt(episode)};
}

std::optional<EpisodeMark> findEpisodeMark(std::string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (at > 0 && isAlnum(text[at - 1])) {
            continue;
        }
        if (auto mark = episodeMarkAt(text, at)) {
            // The further episodes of "S01E01E02" and "S01E01-E02" belong to the mark.
            while (mark->end < text.size()) {
                const std::size_t letter = mark->end + (text[mark->end] == '-' ? 1 : 0);
                if (letter >= text.size() || (text[letter] | 0x20) != 'e') {
                    break;
                }
                const std::string_view more = digitsAt(text, letter + 1, 4);
                if (more.empty()) {
                    break;
                }
                mark->end = letter + 1 + more.size();
            }
            return mark;
        }
    }
    return std::nullopt;
}

// "prefix 7" or "prefix7" in any case.
std::optional<int> numberAfter(std::string_view name, std::string_view prefix) {
    const std::string lower = asciiLower(trim(name));
    if (!lower.starts_with(prefix)) {
        return std::nullopt;
    }
    return wholeNumber(trim(std::string_view(lower).substr(prefix.size()), " ._-"));
}

} // namespace

std::string asciiLower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    });
    return lower;
}

std::string validUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = sequenceLength(bytes, at);
        if (length == 0) {
            text += "\xEF\xBF\xBD";
            ++at;
        } else {
            text += bytes.substr(at, length);
            at += length;
        }
    }
    return text;
}

std::string sortKey(std::string_view title) {
    const std::string lower = asciiLower(trim(title));
    std::string_view rest = lower;
    if (rest.starts_with("the ") && rest.size() > 4) {
        rest.remove_prefix(4);
    }
    std::string key;
    for (std::size_t at = 0; at < rest.size();) {
        if (!isDigit(rest[at])) {
            key += rest[at++];
            continue;
        }
        const std::string_view digits = digitsAt(rest, at, rest.size());
        at += digits.size();
        const std::string_view value =
            digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
        // The number of digits first: then the digits themselves compare by value.
        fmt::format_to(std::back_inserter(key), "0{:03}{}", value.size(), value);
    }
    return key;
}

TitleYear parseTitleYear(std::string_view stem) {
    for (std::size_t at = 1; at + 5 < stem.size() + 1; ++at) {
        const bool bracketed = (stem[at - 1] == '(' && stem.substr(at + 4).starts_with(')')) ||
                               (stem[at - 1] == '[' && stem.substr(at + 4).starts_with(']'));
        const auto year = bracketed ? yearOf(stem.substr(at, 4)) : std::nullopt;
        if (year && at > 1) {
            return {orWhole(spaced(stem.substr(0, at - 1)), stem), year};
        }
    }
    const std::string text = spaced(stem);
    const auto tokens = words(text);
    const auto tag = std::ranges::find_if(tokens, isReleaseTag);
    const auto titleEnd = static_cast<std::size_t>(tag - tokens.begin());
    const bool dotted = stem.find(' ') == std::string_view::npos;
    if (tag != tokens.end() || dotted) {
        for (std::size_t i = titleEnd; i-- > 1;) {
            if (const auto year = yearOf(tokens[i])) {
                return {orWhole(joined(tokens, i), stem), year};
            }
        }
    }
    return {orWhole(joined(tokens, titleEnd == 0 ? tokens.size() : titleEnd), stem), std::nullopt};
}

EpisodeName parseEpisode(std::string_view stem) {
    const auto mark = findEpisodeMark(stem);
    if (!mark) {
        return {.show = {}, .season = {}, .episode = {}, .title = cleanTitle(stem)};
    }
    EpisodeName name{.show = {}, .season = mark->season, .episode = mark->episode, .title = {}};
    const std::string_view before = trim(stem.substr(0, mark->begin), " ._-");
    if (!before.empty()) {
        name.show = parseTitleYear(before).title;
    }
    const std::string_view after = trim(stem.substr(mark->end), " ._-");
    const std::string text = spaced(after);
    const auto tokens = words(text);
    const auto tag = std::ranges::find_if(tokens, isReleaseTag);
    const std::string title = joined(tokens, static_cast<std::size_t>(tag - tokens.begin()));
    name.title = title.empty() ? "" : cleanTitle(title);
    return name;
}

std::optional<int> parseSeasonFolder(std::string_view name) {
    const std::string lower = asciiLower(trim(name));
    if (lower == "specials") {
        return 0;
    }
    for (const std::string_view prefix : {"season", "series", "s"}) {
        if (const auto number = numberAfter(name, prefix)) {
            return number;
        }
    }
    return std::nullopt;
}

std::optional<int> parseDiscFolder(std::string_view name) {
    for (const std::string_view prefix : {"cd", "disc", "disk"}) {
        const auto number = numberAfter(name, prefix);
        if (number && *number > 0) {
            return number;
        }
    }
    return std::nullopt;
}

NumberedTitle parseTrack(std::string_view stem) {
    const std::string text = spaced(stem);
    std::string_view rest = trim(text);
    NumberedTitle track;
    std::string_view digits = digitsAt(rest, 0, 3);
    const bool hasDisc =
        digits.size() == 1 && rest.size() > 3 && rest[1] == '-' && isDigit(rest[2]);
    if (hasDisc) {
        track.disc = toInt(digits);
        rest.remove_prefix(2);
        digits = digitsAt(rest, 0, 3);
    }
    const std::string_view after = rest.substr(digits.size());
    const std::string_view title = trim(after, " .-_)");
    const bool numbered = !digits.empty() && (after.empty() || !isAlnum(after[0]));
    // "99 Luftballons" has no number: a bare space separates only a number written with a zero.
    const bool marked = hasDisc || digits.starts_with('0') || after.empty() || after[0] != ' ' ||
                        after.starts_with(" -") || after.starts_with(" .");
    if (!numbered || !marked || title.empty()) {
        return {.disc = {}, .number = {}, .title = orWhole(text, stem)};
    }
    track.number = toInt(digits);
    track.title = validUtf8(title);
    return track;
}

NumberedTitle parseIssue(std::string_view stem) {
    const std::string cleaned = cleanTitle(stem);
    const auto tokens = words(cleaned);
    if (tokens.size() > 1) {
        std::string_view last = tokens.back();
        last.remove_prefix(last.starts_with('#') ? 1 : 0);
        if (const auto number = wholeNumber(last)) {
            return {.disc = {},
                    .number = number,
                    .title = orWhole(joined(tokens, tokens.size() - 1), stem)};
        }
    }
    return {.disc = {}, .number = {}, .title = cleaned};
}

std::string cleanTitle(std::string_view stem) {
    const std::string text = spaced(stem);
    std::string kept;
    int depth = 0;
    for (const char c : text) {
        const bool opens = c == '(' || c == '[';
        const bool closes = c == ')' || c == ']';
        depth += opens ? 1 : 0;
        if (depth == 0) {
            kept += c;
        }
        depth -= closes && depth > 0 ? 1 : 0;
    }
    const auto tokens = words(kept);
    return orWhole(joined(tokens, tokens.size()), stem);
}

} // namespace ostrad
