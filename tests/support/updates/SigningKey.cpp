#include "tests/support/updates/SigningKey.h"

#include <sodium.h>

#include <span>
#include <stdexcept>

namespace test_support {
namespace {

std::string base64(std::span<const std::uint8_t> bytes) {
    std::string text(sodium_base64_ENCODED_LEN(bytes.size(), sodium_base64_VARIANT_ORIGINAL), '\0');
    ::sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(),
                        sodium_base64_VARIANT_ORIGINAL);
    text.pop_back(); // the NUL
    return text;
}

} // namespace

SigningKey::SigningKey() {
    if (::sodium_init() < 0 || ::crypto_sign_keypair(public_.data(), secret_.data()) != 0) {
        throw std::runtime_error("libsodium makes no keys");
    }
}

std::string SigningKey::publicKeyText() const {
    return base64(public_);
}

platform::appcast::Signature SigningKey::sign(std::string_view archive) const {
    platform::appcast::Signature signature{};
    ::crypto_sign_detached(signature.data(), nullptr,
                           reinterpret_cast<const unsigned char*>(archive.data()), archive.size(),
                           secret_.data());
    return signature;
}

std::string SigningKey::signatureText(std::string_view archive) const {
    return base64(sign(archive));
}

} // namespace test_support
