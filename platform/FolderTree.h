// Whole folders as one thing: copied to a place where they replace what is there. Whoever looks at
// the destination, or loses power, finds the old tree or the complete new one: the copy is made
// beside it under a hidden name, flushed, and then exchanged with it in one step (or, where the
// file system cannot do that, in two renames whose interruption the next call repairs). What an
// interrupted copy leaves beside the destination is cleared away by the next call for the same
// destination; a copy that another process is making right now is left alone. Failures name the
// operation and the path; nothing is retried. Blocks for as long as the copy takes. Any thread.
#pragma once

#include "platform/FileSystem.h"

#include <expected>
#include <filesystem>

namespace platform {

class FolderTree {
  public:
    virtual ~FolderTree() = default;

    // Whether this user may create something in that folder.
    [[nodiscard]] virtual bool isWritableFolder(const std::filesystem::path& folder) const = 0;

    // Copies files, folders and symbolic links with their permissions and modification times.
    // Links are copied as they are, never followed; set-user-id bits do not carry over; anything
    // else in the source (a socket, a device) is a failure. After a failure the destination is as
    // it was. An old tree of which something cannot be removed stays hidden beside the new one.
    [[nodiscard]] virtual std::expected<void, FileError>
    replaceWithCopy(const std::filesystem::path& source,
                    const std::filesystem::path& destination) = 0;

    // Removes what interrupted copies to that destination left beside it.
    virtual void clearLeftovers(const std::filesystem::path& destination) = 0;
};

} // namespace platform
