// SHA-256 by libsodium under CommonCrypto's names.
#pragma once

#include <sodium/crypto_hash_sha256.h>
#include <stdint.h>

#define CC_SHA256_DIGEST_LENGTH 32

typedef uint32_t CC_LONG;
typedef crypto_hash_sha256_state CC_SHA256_CTX;

inline int CC_SHA256_Init(CC_SHA256_CTX* context) {
    return crypto_hash_sha256_init(context) == 0;
}
inline int CC_SHA256_Update(CC_SHA256_CTX* context, const void* bytes, CC_LONG count) {
    return crypto_hash_sha256_update(context, static_cast<const unsigned char*>(bytes), count) == 0;
}
inline int CC_SHA256_Final(unsigned char* digest, CC_SHA256_CTX* context) {
    return crypto_hash_sha256_final(context, digest) == 0;
}
