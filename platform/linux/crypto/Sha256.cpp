#include "platform/Sha256.h"

#include <sodium/crypto_hash_sha256.h>

namespace platform {
namespace {

static_assert(crypto_hash_sha256_BYTES == std::tuple_size_v<Sha256Digest>);

} // namespace

Sha256Digest sha256(std::string_view bytes) {
    Sha256Digest digest{};
    // Neither needs sodium_init() nor can fail.
    ::crypto_hash_sha256(digest.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                         bytes.size());
    return digest;
}

} // namespace platform
