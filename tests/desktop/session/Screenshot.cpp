#include "tests/desktop/session/Screenshot.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>

namespace desktop {

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

std::size_t Screenshot::distinctColours() const {
    return std::set<Colour>(pixels_.begin(), pixels_.end()).size();
}

} // namespace desktop
