#include "platform/linux/crypto/SodiumRandomSource.h"

#include <sodium.h>

namespace platform {

SodiumRandomSource::SodiumRandomSource()
    : isReady_(::sodium_init() >= 0) {}

bool SodiumRandomSource::fill(std::span<std::byte> bytes) {
    if (isReady_ && !bytes.empty()) {
        ::randombytes_buf(bytes.data(), bytes.size());
    }
    return isReady_;
}

std::unique_ptr<RandomSource> makeRandomSource() {
    return std::make_unique<SodiumRandomSource>();
}

} // namespace platform
