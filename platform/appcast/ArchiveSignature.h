// Whether an archive is the one that the holder of the private key signed: an Ed25519 signature
// (RFC 8032) over the whole file, as Sparkle's tools make it. The file is mapped, not read into
// memory, and must not change meanwhile: give it a file that has no name. Any thread; throws
// nothing.
#pragma once

#include "platform/appcast/Appcast.h"

#include <array>
#include <cstdint>
#include <expected>
#include <string>

namespace platform::appcast {

using PublicKey = std::array<std::uint8_t, 32>;

// Why the archive is refused: its length is not the announced one, or the signature does not fit.
[[nodiscard]] std::expected<void, std::string>
verifyArchive(int file, std::uint64_t length, const Signature& signature, const PublicKey& key);

} // namespace platform::appcast
