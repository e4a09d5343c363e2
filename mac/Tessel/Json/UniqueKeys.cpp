#include "mac/Tessel/Json/UniqueKeys.h"

#include "mac/Tessel/Json/EightBytes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace tessel {
std::size_t UniqueKeys::slotOf(std::string_view key, std::size_t slots) {
    const std::size_t length = std::min(key.size(), sizeof(std::uint64_t));
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    if (length == sizeof first) {
        first = eightBytes::load(key.data());
        last = eightBytes::load(key.data() + (key.size() - length));
    } else {
        std::memcpy(&first, key.data(), length);
    }
    constexpr std::uint64_t spread = 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = first * spread ^ last ^ key.size();
    // What numbers at the ends of keys differ in is high up, and multiplying moves nothing down.
    mixed = (mixed ^ mixed >> 32) * spread;
    return static_cast<std::size_t>(mixed >> 32) % slots;
}

bool UniqueKeys::allDifferent() {
    constexpr std::size_t few = 64;
    if (keys_.size() <= few) {
        return fewAreDifferent();
    }
    std::ranges::sort(keys_);
    return std::ranges::adjacent_find(keys_) == keys_.end();
}

bool UniqueKeys::fewAreDifferent() const {
    constexpr std::size_t slots = 128;
    std::array<std::uint8_t, slots> table{}; // index + 1
    for (std::size_t index = 0; index < keys_.size(); ++index) {
        std::size_t slot = slotOf(keys_[index], slots);
        for (; table[slot] != 0; slot = (slot + 1) % slots) {
            if (keys_[table[slot] - std::size_t{1}] == keys_[index]) {
                return false;
            }
        }
        table[slot] = static_cast<std::uint8_t>(index + 1);
    }
    return true;
}

} // namespace tessel
