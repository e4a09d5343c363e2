#include "tests/desktop/session/Screenshot.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>

namespace desktop {

double relativeLuminance(Colour colour) {
    const auto linear = [](std::uint8_t channel) {
        const double value = channel / 255.0;
        return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.red) + 0.7152 * linear(colour.green) +
           0.0722 * linear(colour.blue);
}

std::optional<Screenshot> Screenshot::read(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string magic;
    int depth = 0;
    Screenshot shot;
    stream >> magic >> shot.width_ >> shot.height_ >> depth;
    stream.get();
    if (!stream || magic != "P6" || depth != 255 || shot.width_ <= 0 || shot.height_ <= 0) {
        return std::nullopt;
    }
    std::string bytes(
        static_cast<std::size_t>(shot.width_) * static_cast<std::size_t>(shot.height_) * 3, '\0');
    if (!stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
        return std::nullopt;
    }
    const auto channel = [&](std::size_t index) { return static_cast<std::uint8_t>(bytes[index]); };
    shot.pixels_.reserve(bytes.size() / 3);
    for (std::size_t index = 0; index < bytes.size(); index += 3) {
        shot.pixels_.push_back({channel(index), channel(index + 1), channel(index + 2)});
    }
    return shot;
}

Colour Screenshot::dominantColour() const {
    std::map<Colour, std::size_t> counts;
    for (const Colour pixel : pixels_) {
        ++counts[pixel];
    }
    return std::ranges::max_element(counts, {}, [](const auto& entry) { return entry.second; })
        ->first;
}

double Screenshot::share(Colour colour, int tolerance) const {
    const auto isClose = [&](Colour pixel) {
        return std::abs(pixel.red - colour.red) <= tolerance &&
               std::abs(pixel.green - colour.green) <= tolerance &&
               std::abs(pixel.blue - colour.blue) <= tolerance;
    };
    return static_cast<double>(std::ranges::count_if(pixels_, isClose)) /
           static_cast<double>(pixels_.size());
}

template <typename Condition>
Box Screenshot::boxOfThose(Condition holds) const {
    Box box;
    int right = 0;
    for (std::size_t index = 0; index < pixels_.size(); ++index) {
        if (!holds(index)) {
            continue;
        }
        const int x = static_cast<int>(index % static_cast<std::size_t>(width_));
        const int y = static_cast<int>(index / static_cast<std::size_t>(width_));
        if (box.height == 0) {
            box = {.x = x, .y = y};
        }
        box.x = std::min(box.x, x);
        right = std::max(right, x + 1);
        box.width = right - box.x;
        box.height = y + 1 - box.y;
    }
    return box;
}

Box Screenshot::boxOf(Colour colour) const {
    return boxOfThose([&](std::size_t index) { return pixels_[index] == colour; });
}

Box Screenshot::boxOfDifference(const Screenshot& other) const {
    return boxOfThose([&](std::size_t index) { return pixels_[index] != other.pixels_.at(index); });
}

Screenshot Screenshot::part(const Box& box) const {
    Screenshot part;
    const int left = std::clamp(box.x, 0, width_);
    const int top = std::clamp(box.y, 0, height_);
    part.width_ = std::clamp(box.x + box.width, left, width_) - left;
    part.height_ = std::clamp(box.y + box.height, top, height_) - top;
    for (int y = top; y < top + part.height_; ++y) {
        const auto row = pixels_.begin() + std::ptrdiff_t{y} * width_ + left;
        part.pixels_.insert(part.pixels_.end(), row, row + part.width_);
    }
    return part;
}

Colour Screenshot::at(int x, int y) const {
    return pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                   static_cast<std::size_t>(x)];
}

std::vector<Box> Screenshot::lines(const Box& area) const {
    constexpr int clearlyOther = 24;
    const Colour ground = dominantColour();
    const auto standsOut = [&](Colour pixel) {
        return std::abs(pixel.red - ground.red) > clearlyOther ||
               std::abs(pixel.green - ground.green) > clearlyOther ||
               std::abs(pixel.blue - ground.blue) > clearlyOther;
    };
    std::vector<Box> lines;
    bool inLine = false;
    for (int y = area.y; y < std::min(area.y + area.height, height_); ++y) {
        int first = -1;
        int last = -1;
        for (int x = area.x; x < std::min(area.x + area.width, width_); ++x) {
            if (standsOut(at(x, y))) {
                first = first < 0 ? x : first;
                last = x;
            }
        }
        if (first >= 0 && !inLine) {
            lines.push_back({.x = first, .y = y});
        }
        inLine = first >= 0;
        if (inLine) {
            Box& line = lines.back();
            const int right = std::max(line.x + line.width, last + 1);
            line.x = std::min(line.x, first);
            line.width = right - line.x;
            line.height = y + 1 - line.y;
        }
    }
    return lines;
}

double Screenshot::contrast() const {
    const double ground = relativeLuminance(dominantColour());
    double best = 1;
    for (const Colour pixel : pixels_) {
        const double other = relativeLuminance(pixel);
        best = std::max(best, (std::max(ground, other) + 0.05) / (std::min(ground, other) + 0.05));
    }
    return best;
}

std::size_t Screenshot::distinctColours() const {
    return std::set<Colour>(pixels_.begin(), pixels_.end()).size();
}

} // namespace desktop
