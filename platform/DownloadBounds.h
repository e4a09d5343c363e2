// When a page's file is given up while it comes: the volume is nearly full, which others on it
// would suffer from, or nothing has come for a while. The space is looked at now and then only.
// Pure but for what has come so far; one thread only.
#pragma once

#include "platform/Clock.h"

#include <chrono>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string_view>

namespace platform {

class DownloadBounds {
  public:
    // Bytes that stay for others.
    static constexpr std::uintmax_t reserve = std::uintmax_t{256} << 20;
    // The space is looked at again after so many.
    static constexpr std::uint64_t bytesBetweenLooks = std::uint64_t{8} << 20;
    // Without a byte.
    static constexpr std::chrono::seconds patience{20};
    // What the user is told.
    static constexpr std::string_view tooFull = "There is not enough space.";
    static constexpr std::string_view stalled = "Nothing has come any more.";

    // It begins to come.
    explicit DownloadBounds(SteadyTime now)
        : lastCame_(now) {}

    // To be asked every few seconds at least, with the bytes that have come in all. `space` returns
    // how many bytes the volume has left for the user, or nothing when that cannot be known. What
    // the download is given up for, if it is.
    template <std::invocable Space>
    [[nodiscard]] std::optional<std::string_view> trouble(std::uint64_t count, SteadyTime now,
                                                          Space space) {
        if (count != count_) {
            count_ = count;
            lastCame_ = now;
        } else if (now - lastCame_ >= patience) {
            return stalled;
        }
        if (count_ - countAtLook_ >= bytesBetweenLooks) {
            countAtLook_ = count_;
            const std::optional<std::uintmax_t> left = space();
            if (left && *left < reserve) {
                return tooFull;
            }
        }
        return std::nullopt;
    }

  private:
    std::uint64_t count_ = 0;
    std::uint64_t countAtLook_ = 0;
    SteadyTime lastCame_;
};

} // namespace platform
