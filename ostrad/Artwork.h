#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ostrad {

// The folder of small pictures: covers found beside a file or inside it, and frames of videos,
// scaled by ffmpeg. A picture is named after its item and the item's modification, so a changed
// file never shows an old one. Blocks the calling thread; see runTool for stopping.
class Artwork {
  public:
    // Creates the folder, private to the user. Throws std::system_error when it cannot.
    Artwork(std::string folderPath, std::string ffmpegPath);

    struct Source {
        std::int64_t entityId = 0;
        std::string libraryPath;
        std::string path; // relative
        std::int64_t durationMs = 0;
        bool isVideo = false;
    };

    // Draws the picture of an item and returns its file name; nothing when there is none to be had.
    std::optional<std::string> draw(const Source& source, const std::atomic<bool>& stop) const;

    // Deletes every picture that nobody uses.
    void sweep(const std::function<bool(const std::string&)>& isUsed) const;

    [[nodiscard]] bool canDraw() const { return !ffmpeg.empty(); }
    [[nodiscard]] const std::string& path() const { return folder; }

    // Only such names are ever served or deleted.
    static bool isPictureName(std::string_view name);

  private:
    [[nodiscard]] bool render(const std::string& input, double seconds, const std::string& name,
                              const std::atomic<bool>& stop) const;

    std::string folder;
    std::string ffmpeg;
};

} // namespace ostrad
