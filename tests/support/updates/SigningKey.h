// An Ed25519 key pair as a developer has it: signs update archives. Each object is another key.
#pragma once

#include "platform/appcast/ArchiveSignature.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace test_support {

class SigningKey {
  public:
    SigningKey();

    [[nodiscard]] const platform::appcast::PublicKey& publicKey() const { return public_; }
    [[nodiscard]] std::string publicKeyText() const; // base64
    [[nodiscard]] platform::appcast::Signature sign(std::string_view archive) const;
    [[nodiscard]] std::string signatureText(std::string_view archive) const; // base64

  private:
    platform::appcast::PublicKey public_{};
    std::array<std::uint8_t, 64> secret_{};
};

} // namespace test_support
