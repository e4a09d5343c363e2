#include "platform/Sha256.h"

#include <CommonCrypto/CommonDigest.h>

#include <algorithm>
#include <cstddef>
#include <tuple>

namespace platform {
namespace {

static_assert(CC_SHA256_DIGEST_LENGTH == std::tuple_size_v<Sha256Digest>);

} // namespace

Sha256Digest sha256(std::string_view bytes) {
    // CC_LONG has 32 bits: more than 4 GB go in by pieces.
    constexpr std::size_t piece = std::size_t{1} << 30;
    CC_SHA256_CTX context;
    CC_SHA256_Init(&context);
    while (!bytes.empty()) {
        const std::size_t count = std::min(piece, bytes.size());
        CC_SHA256_Update(&context, bytes.data(), static_cast<CC_LONG>(count));
        bytes.remove_prefix(count);
    }
    Sha256Digest digest{};
    CC_SHA256_Final(digest.data(), &context);
    return digest;
}

} // namespace platform
