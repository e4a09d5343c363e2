#include "ostrad/Subtitles.h"

#include "ostrad/MediaTracks.h"
#include "ostrad/Naming.h"
#include "ostrad/SafeFile.h"
#include "ostrad/ToolRunner.h"

#include <dirent.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

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

std::optional<std::string> convert(const std::string& ffmpeg, const std::string& path,
                                   std::int64_t track, const ToolLimits& limits,
                                   const std::atomic<bool>& stop) {
    return runTool({ffmpeg, "-v", "quiet", "-nostdin", "-protocol_whitelist", "file,pipe",
                    "-format_whitelist", std::string(kMediaFormats), "-i", "file:" + path, "-map",
                    fmt::format("0:s:{}", track), "-c:s", "webvtt", "-f", "webvtt", "pipe:1"},
                   limits, stop);
}

} // namespace

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
        if (!name.starts_with(stem) || !isSubtitleName(asciiLower(name))) {
            continue;
        }
        std::string_view language = name.substr(stem.size(), name.rfind('.') - stem.size());
        if (!language.empty() && !language.starts_with('.')) {
            continue; // another film whose name goes on
        }
        language.remove_prefix(language.empty() ? 0 : 1);
        found.push_back(
            {.path = folder.empty() ? std::string(name) : folder + '/' + std::string(name),
             .language = validUtf8(language)});
    }
    std::ranges::sort(found, {}, &SubtitleFile::path);
    found.resize(std::min(found.size(), most));
    return found;
}

std::optional<std::string> convertSubtitleFile(const std::string& ffmpeg, const std::string& path,
                                               const std::atomic<bool>& stop) {
    return convert(ffmpeg, path, 0, kConversion, stop);
}

std::optional<std::string> extractSubtitles(const std::string& ffmpeg, const std::string& filmPath,
                                            std::int64_t track, const std::atomic<bool>& stop) {
    return convert(ffmpeg, filmPath, track, kExtraction, stop);
}

} // namespace ostrad
