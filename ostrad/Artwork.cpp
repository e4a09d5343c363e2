#include "ostrad/Artwork.h"

#include "ostrad/MediaCommand.h"
#include "ostrad/SafeFile.h"
#include "ostrad/ToolRunner.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

namespace ostrad {

namespace fs = std::filesystem;

namespace {

constexpr ToolLimits kDrawing{.time = std::chrono::seconds(15), .maxOutput = 64 * 1024};
constexpr const char* kScale = "scale='min(480,iw)':-2:flags=lanczos";
constexpr std::array<std::string_view, 12> kCoverNames{
    "cover.jpg",  "cover.png",  "cover.jpeg",  "folder.jpg", "folder.png", "folder.jpeg",
    "poster.jpg", "poster.png", "poster.jpeg", "front.jpg",  "front.png",  "front.jpeg",
};

std::optional<std::string> coverBeside(const Artwork::Source& source) {
    const std::size_t slash = source.path.rfind('/');
    if (slash == std::string::npos) {
        return std::nullopt; // a picture at the root belongs to no single item
    }
    for (const std::string_view name : kCoverNames) {
        const std::string path = source.path.substr(0, slash + 1) + std::string(name);
        if (openFileBeneath(source.libraryPath, path)) {
            return source.libraryPath + '/' + path;
        }
    }
    return std::nullopt;
}

} // namespace

Artwork::Artwork(std::string folderPath, std::string ffmpegPath)
    : folder(std::move(folderPath))
    , ffmpeg(std::move(ffmpegPath)) {
    const fs::path parent = fs::path(folder).parent_path();
    if (!parent.empty()) {
        fs::create_directories(parent);
    }
    if (::mkdir(folder.c_str(), 0700) != 0 && !fs::is_directory(folder)) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot create the artwork folder " + folder);
    }
}

std::optional<std::string> Artwork::draw(const Source& source,
                                         const std::atomic<bool>& stop) const {
    struct stat status{};
    const UniqueFd file = openFileBeneath(source.libraryPath, source.path);
    if (ffmpeg.empty() || !file || ::fstat(file.get(), &status) != 0) {
        return std::nullopt;
    }
    const std::string name =
        fmt::format("{}-{}.jpg", source.entityId, std::max<std::int64_t>(0, status.st_mtime));
    if (const auto cover = coverBeside(source); cover && render(*cover, 0, name, stop)) {
        return name;
    }
    const double seconds =
        source.isVideo ? std::min(static_cast<double>(source.durationMs) / 10'000.0, 300.0) : 0;
    if (render(source.libraryPath + '/' + source.path, seconds, name, stop)) {
        return name;
    }
    return std::nullopt;
}

bool Artwork::render(const std::string& input, double seconds, const std::string& name,
                     const std::atomic<bool>& stop) const {
    const std::string finished = folder + '/' + name;
    const std::string unfinished = finished + ".part";
    std::vector<std::string> command = mediaCommand(ffmpeg, {"-nostdin", "-y"});
    if (seconds > 0) { // seeking, even to the start, loses the picture embedded in an audio file
        command.insert(command.end(), {"-ss", fmt::format("{:.3f}", seconds)});
    }
    command.insert(command.end(), {"-i", "file:" + input, "-an", "-sn", "-dn", "-map", "0:v:0",
                                   "-frames:v", "1", "-vf", kScale, "-q:v", "4", "-threads", "1",
                                   "-f", "mjpeg", "file:" + unfinished});
    const bool drawn = runTool(command, kDrawing, stop).has_value();
    struct stat status{};
    if (drawn && ::stat(unfinished.c_str(), &status) == 0 && status.st_size > 0) {
        return std::rename(unfinished.c_str(), finished.c_str()) == 0;
    }
    static_cast<void>(std::remove(unfinished.c_str()));
    return false;
}

void Artwork::sweep(const std::function<bool(const std::string&)>& isUsed) const {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (isPictureName(name) && !isUsed(name)) {
            std::error_code ignored;
            fs::remove(entry->path(), ignored);
        }
    }
}

bool Artwork::isPictureName(std::string_view name) {
    constexpr std::string_view suffix = ".jpg";
    if (!name.ends_with(suffix) || name.size() > 64) {
        return false;
    }
    name.remove_suffix(suffix.size());
    const std::size_t dash = name.find('-');
    const auto isNumber = [](std::string_view text) {
        return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
    };
    return dash != std::string_view::npos && isNumber(name.substr(0, dash)) &&
           isNumber(name.substr(dash + 1));
}

} // namespace ostrad
