// The system's cryptographically secure random generator. Any thread.
#pragma once

#include <cstddef>
#include <memory>
#include <span>

namespace platform {

class RandomSource {
  public:
    virtual ~RandomSource() = default;

    // Fills every byte and returns true; false means that the generator failed and the content is
    // unspecified.
    [[nodiscard]] virtual bool fill(std::span<std::byte> bytes) = 0;
};

// A generator of this system, for a program that puts no whole NativePlatform together.
[[nodiscard]] std::unique_ptr<RandomSource> makeRandomSource();

} // namespace platform
