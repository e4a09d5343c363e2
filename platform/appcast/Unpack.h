// Unpacks an archive (tar, plain or compressed with gzip, bzip2, xz or zstd, or zip) into an empty
// folder that belongs to the caller alone. An archive is refused as a whole when it holds a name
// that leaves the folder, a name twice, a hard link, a device, a pipe or a socket, a symbolic link
// that leads out of its top-level folder, a set-user-id, set-group-id or sticky bit on a file, or
// more than the limits. Folders and programs get the mode 0755, other files 0644, whatever the
// file-creation mask; times are kept, owners are not. What was unpacked before a refusal is the
// caller's to remove. Any thread; throws nothing but std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <string>

namespace platform::appcast {

struct UnpackLimits {
    std::uint64_t totalBytes = std::uint64_t{4} << 30; // of the files' content
    std::size_t entries = 50'000;
};

// `file` is an open regular file, read from its beginning.
[[nodiscard]] std::expected<void, std::string> unpack(int file, const std::filesystem::path& folder,
                                                      const UnpackLimits& limits = {});

} // namespace platform::appcast
