#include "platform/cocoa/SecurityRandomSource.h"

#import <Security/Security.h>

namespace platform::cocoa {

bool SecurityRandomSource::fill(std::span<std::byte> bytes) {
    return bytes.empty() || SecRandomCopyBytes(kSecRandomDefault, bytes.size(), bytes.data()) ==
                                static_cast<int>(errSecSuccess);
}

} // namespace platform::cocoa
