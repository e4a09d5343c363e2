// RandomSource over SecRandomCopyBytes, the Security framework's default generator. Any thread.
#pragma once

#include "platform/RandomSource.h"

namespace platform::cocoa {

class SecurityRandomSource final : public RandomSource {
  public:
    [[nodiscard]] bool fill(std::span<std::byte> bytes) override;
};

} // namespace platform::cocoa
