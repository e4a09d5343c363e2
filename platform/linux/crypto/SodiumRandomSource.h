// RandomSource over libsodium's randombytes_buf, which asks the kernel (getrandom(2)). Fails only
// when the library could not be initialised.
#pragma once

#include "platform/RandomSource.h"

namespace platform {

class SodiumRandomSource final : public RandomSource {
  public:
    SodiumRandomSource();

    [[nodiscard]] bool fill(std::span<std::byte> bytes) override;

  private:
    bool isReady_ = false;
};

} // namespace platform
