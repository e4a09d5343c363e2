// What a person would see: the pixels of a window or of the whole screen, taken from the X server
// by ImageMagick's `import`. Comparisons are about the essence, dominant colours and their share,
// so that fonts and antialiasing do not matter.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace desktop {

struct Colour {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    auto operator<=>(const Colour&) const = default;
};

// A part of a picture, in pixels from its upper left corner.
struct Box {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    auto operator<=>(const Box&) const = default;
};

// As WCAG 2 defines it: 0 is black, 1 is white.
[[nodiscard]] double relativeLuminance(Colour colour);

class Screenshot {
  public:
    // A binary portable pixmap (P6, 8 bits). Nothing when the file is not one.
    [[nodiscard]] static std::optional<Screenshot> read(const std::filesystem::path& file);

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] Colour dominantColour() const;
    // The part of all pixels, 0 to 1, whose channels are each within `tolerance` of the colour's.
    [[nodiscard]] double share(Colour colour, int tolerance) const;
    [[nodiscard]] std::size_t distinctColours() const;
    // Around all pixels of exactly that colour; empty when there are none.
    [[nodiscard]] Box boxOf(Colour colour) const;
    // Around all pixels that differ; empty when there are none. Of the same size.
    [[nodiscard]] Box boxOfDifference(const Screenshot& other) const;
    // As far as the picture goes.
    [[nodiscard]] Screenshot part(const Box& box) const;
    // What stands out from the dominant colour inside the area, line by line: a box around each
    // stretch of pixel rows that hold any of it.
    [[nodiscard]] std::vector<Box> lines(const Box& area) const;
    // How well a drawing on one ground is seen: the contrast ratio of WCAG 2, 1 to 21, between the
    // dominant colour and the one that differs most from it.
    [[nodiscard]] double contrast() const;

  private:
    // Around all pixels of which that holds, by their index.
    template <typename Condition>
    [[nodiscard]] Box boxOfThose(Condition holds) const;

    [[nodiscard]] Colour at(int x, int y) const;

    int width_ = 0;
    int height_ = 0;
    std::vector<Colour> pixels_;
};

} // namespace desktop
