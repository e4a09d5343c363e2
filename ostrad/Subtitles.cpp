#include "ostrad/Subtitles.h"

#include "ostrad/MediaCommand.h"
#include "ostrad/MediaTracks.h"
#include "ostrad/Naming.h"
#include "ostrad/SafeFile.h"
#include "ostrad/ToolRunner.h"

#include <dirent.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace ostrad {

namespace {

// A film is read to its end for its subtitles.
constexpr ToolLimits kExtraction{.time = std::chrono::minutes(2), .maxOutput = 16 * 1024 * 1024};
constexpr ToolLimits kConversion{.time = std::chrono::seconds(15), .maxOutput = 16 * 1024 * 1024};

bool isSubtitleName(std::string_view lower) {
    constexpr std::array<std::string_view, 4> extensions{".srt", ".ass", ".ssa", ".vtt"};
    return std::ranges::any_of(extensions,
                               [lower](std::string_view end) { return lower.ends_with(end); });
}

// Files without a sign of their encoding are in this one when they are not in UTF-8.
constexpr const char* kOtherEncoding = "CP1252";
constexpr std::size_t kLargestFile = 16UL * 1024 * 1024;

// Whether the file says nothing about its encoding and is not in UTF-8.
bool isInOtherEncoding(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes(kLargestFile, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    const bool isUtf16 = bytes.starts_with("\xff\xfe") || bytes.starts_with("\xfe\xff");
    return !isUtf16 && validUtf8(bytes) != bytes;
}

std::optional<std::string> convert(const std::string& ffmpeg, const std::string& path,
                                   std::int64_t track, const ToolLimits& limits,
                                   const std::atomic<bool>& stop, const char* encoding = nullptr) {
    std::vector<std::string> command = mediaCommand(ffmpeg, {"-nostdin"});
    if (encoding != nullptr) {
        command.insert(command.end(), {"-sub_charenc", encoding});
    }
    command.insert(command.end(), {"-i", "file:" + path, "-map", fmt::format("0:s:{}", track),
                                   "-c:s", "webvtt", "-f", "webvtt", "pipe:1"});
    const auto text = runTool(command, limits, stop);
    return text ? checkedWebVtt(*text) : std::nullopt;
}

} // namespace

std::optional<std::string> subtitleLanguage(std::string_view filmStem, std::string_view name) {
    if (!name.starts_with(filmStem) || !isSubtitleName(asciiLower(name))) {
        return std::nullopt;
    }
    const std::size_t dot = name.rfind('.');
    if (dot < filmStem.size()) {
        return std::nullopt;
    }
    std::string_view language = name.substr(filmStem.size(), dot - filmStem.size());
    if (!language.empty() && !language.starts_with('.')) {
        return std::nullopt; // another film whose name goes on
    }
    language.remove_prefix(language.empty() ? 0 : 1);
    return validUtf8(language);
}

std::optional<std::string> checkedWebVtt(std::string_view text) {
    constexpr std::string_view magic = "WEBVTT";
    if (!text.starts_with(magic) ||
        (text.size() > magic.size() &&
         std::string_view(" \t\r\n").find(text[magic.size()]) == std::string_view::npos)) {
        return std::nullopt;
    }
    std::string clean = validUtf8(text);
    std::erase(clean, '\0');
    return clean;
}

std::vector<SubtitleFile> subtitlesBeside(const std::string& libraryPath,
                                          std::string_view filmPath) {
    constexpr std::size_t most = 64;
    const std::size_t slash = filmPath.rfind('/');
    const std::string folder(slash == std::string_view::npos ? "" : filmPath.substr(0, slash));
    std::string_view stem = filmPath.substr(slash == std::string_view::npos ? 0 : slash + 1);
    stem = stem.substr(0, stem.rfind('.'));

    UniqueFd opened = openFolderBeneath(libraryPath, folder);
    if (!opened) {
        return {};
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(opened.get()), &::closedir);
    if (!entries) {
        return {};
    }
    static_cast<void>(opened.release()); // the stream's now
    std::vector<SubtitleFile> found;
    while (const dirent* const entry = ::readdir(entries.get())) {
        const std::string_view name = entry->d_name;
        const auto language = subtitleLanguage(stem, name);
        if (!language) {
            continue;
        }
        found.push_back(
            {.path = folder.empty() ? std::string(name) : folder + '/' + std::string(name),
             .language = *language});
    }
    std::ranges::sort(found, {}, &SubtitleFile::path);
    found.resize(std::min(found.size(), most));
    return found;
}

std::optional<std::string> convertSubtitleFile(const std::string& ffmpeg, const std::string& path,
                                               const std::atomic<bool>& stop) {
    return convert(ffmpeg, path, 0, kConversion, stop,
                   isInOtherEncoding(path) ? kOtherEncoding : nullptr);
}

std::optional<std::string> extractSubtitles(const std::string& ffmpeg, const std::string& filmPath,
                                            std::int64_t track, const std::atomic<bool>& stop) {
    return convert(ffmpeg, filmPath, track, kExtraction, stop);
}

} // namespace ostrad
