#include "platform/cocoa/crypto/SecurityRandomSource.h"

#include <Security/Security.h>

namespace platform::cocoa {

bool SecurityRandomSource::fill(std::span<std::byte> bytes) {
    return bytes.empty() || SecRandomCopyBytes(kSecRandomDefault, bytes.size(), bytes.data()) ==
                                static_cast<int>(errSecSuccess);
}

} // namespace platform::cocoa

namespace platform {

std::unique_ptr<RandomSource> makeRandomSource() {
    return std::make_unique<cocoa::SecurityRandomSource>();
}

} // namespace platform
