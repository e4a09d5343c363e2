#include "platform/appcast/ArchiveSignature.h"

#include <sodium.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cstddef>
#include <memory>

namespace platform::appcast {

std::expected<void, std::string> verifyArchive(int file, std::uint64_t length,
                                               const Signature& signature, const PublicKey& key) {
    struct stat status{};
    if (::fstat(file, &status) != 0 || status.st_size <= 0 ||
        static_cast<std::uint64_t>(status.st_size) != length) {
        return std::unexpected("the downloaded file does not have the announced length");
    }
    const auto size = static_cast<std::size_t>(length);
    void* const mapped = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    if (mapped == MAP_FAILED || ::sodium_init() < 0) {
        return std::unexpected("the downloaded file cannot be examined");
    }
    const auto unmap = [size](void* memory) { ::munmap(memory, size); };
    const std::unique_ptr<void, decltype(unmap)> owner(mapped, unmap);
    const auto* const bytes = static_cast<const unsigned char*>(mapped);
    if (::crypto_sign_verify_detached(signature.data(), bytes, size, key.data()) != 0) {
        return std::unexpected("the downloaded file is not signed by the developer");
    }
    return {};
}

} // namespace platform::appcast
