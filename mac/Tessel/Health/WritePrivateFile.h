// Replaces a private file of the health store so that a reader, also after a loss of power, finds
// the old content or the new one. Any thread; callers that write the same file take turns.
#pragma once

#include "platform/DurableFiles.h"

#include <filesystem>
#include <string_view>

namespace tessel {

// Makes the folder or makes it private again; throws AppHealthFileError.
void ensurePrivateFolder(platform::DurableFiles& files, const std::filesystem::path& folder);

// Puts the folder's names on stable storage; file systems that cannot (EINVAL) are forgiven.
// Throws AppHealthStoreError.
void syncFolder(platform::DurableFiles& files, const std::filesystem::path& folder);

// By way of the temporary name, in the same folder. Throws AppHealthStoreError and
// AppHealthFileError; no temporary file is left then.
void writePrivateFile(platform::DurableFiles& files, const std::filesystem::path& file,
                      const std::filesystem::path& temporary, std::string_view data);

} // namespace tessel
