// Steps for keeping private files that survive a crash: folders 0700, files 0600, both from the
// moment they exist, and a flush to stable storage that is a step of its own. The caller puts the
// steps in order and answers for the files in between. Calls that a signal interrupted are made
// again, but never a flush: after a failed one nobody knows what is on the disk. Every failure is
// a value with the operation, the path and errno. Symbolic links are not followed in the last
// component of a path. Any thread; blocking.
#pragma once

#include "platform/FileSystem.h"

#include <cstddef>
#include <expected>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// A new file, open for writing. The end of the object closes what is still open.
class PrivateFile {
  public:
    virtual ~PrivateFile() = default;

    // Appends every byte, or fails; what was written by then stays.
    [[nodiscard]] virtual std::expected<void, FileError> writeAll(std::string_view bytes) = 0;
    // To stable storage. After a failure every further call fails without asking the system.
    [[nodiscard]] virtual std::expected<void, FileError> flush() = 0;
    // Closes the file without a flush. Nothing else may follow.
    [[nodiscard]] virtual std::expected<void, FileError> close() = 0;
};

// Held as long as the object lives.
class FolderLock {
  public:
    virtual ~FolderLock() = default;
};

// Why a folder's names are not known to be on stable storage.
struct FolderFlushError {
    // The folder is opened, then flushed.
    enum class Stage { open, flush };

    Stage stage = Stage::open; // which step failed
    FileError error = {};      // and why
};

class DurableFiles {
  public:
    // Nothing, or what failed.
    using Result = std::expected<void, FileError>;

    virtual ~DurableFiles() = default;

    // Creates the folder and those above it that are missing, all of them 0700. What is there
    // already must be a folder and no symbolic link (ENOTDIR otherwise), and becomes 0700; slashes
    // at the end of the path do not change that.
    [[nodiscard]] virtual Result ensurePrivateFolder(const std::filesystem::path& folder) = 0;

    // Creates an empty file; EEXIST when something carries the name. After a failure there is no
    // new file.
    [[nodiscard]] virtual std::expected<std::unique_ptr<PrivateFile>, FileError>
    createPrivateFile(const std::filesystem::path& path) = 0;

    // rename(2): replaces what carries the new name.
    [[nodiscard]] virtual Result rename(const std::filesystem::path& from,
                                        const std::filesystem::path& to) = 0;
    // Makes a file of the caller's own 0600.
    [[nodiscard]] virtual Result makePrivate(const std::filesystem::path& file) = 0;
    // Takes a file's name away.
    [[nodiscard]] virtual Result remove(const std::filesystem::path& file) = 0;
    // Puts the folder's names on stable storage.
    [[nodiscard]] virtual std::expected<void, FolderFlushError>
    flushFolder(const std::filesystem::path& folder) = 0;

    // The names of the regular files in a folder, sorted by their bytes.
    [[nodiscard]] virtual std::expected<std::vector<std::string>, FileError>
    fileNames(const std::filesystem::path& folder) const = 0;
    // The bytes of a regular file. EFBIG above `maxBytes`; what is no regular file is refused
    // without blocking.
    [[nodiscard]] virtual std::expected<std::string, FileError>
    read(const std::filesystem::path& file, std::size_t maxBytes) const = 0;

    // Waits until no other object, of this process or another, holds the folder's lock. Advisory;
    // the system gives it back when the process ends. Fails on file systems that know no locks.
    [[nodiscard]] virtual std::expected<std::unique_ptr<FolderLock>, FileError>
    lockFolder(const std::filesystem::path& folder) = 0;
};

} // namespace platform
