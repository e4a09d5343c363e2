#include "platform/posix/PosixFolderTree.h"

#include "platform/posix/CopyTree.h"
#include "platform/posix/FolderEntries.h"
#include "platform/posix/PlaceTree.h"
#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace platform {
namespace {

constexpr int openFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

std::unexpected<FileError> failure(std::string attempt, int error) {
    return std::unexpected(FileError{.attempt = std::move(attempt), .errnoValue = error});
}

bool isThere(const std::filesystem::path& path) {
    struct stat status{};
    return ::lstat(path.c_str(), &status) == 0;
}

bool areTheSame(const std::filesystem::path& one, const std::filesystem::path& other) {
    std::error_code failed;
    return std::filesystem::equivalent(one, other, failed);
}

bool isInside(const std::filesystem::path& folder, const std::filesystem::path& above) {
    std::error_code failed;
    for (auto at = std::filesystem::canonical(folder, failed); !failed; at = at.parent_path()) {
        if (areTheSame(at, above)) {
            return true;
        }
        if (at == at.parent_path()) {
            break;
        }
    }
    return false;
}

// A folder of ours under a name that nobody else uses, locked as long as this object lives and
// removed by it unless it was put in its place.
class WorkFolder {
  public:
    explicit WorkFolder(const std::filesystem::path& destination)
        : path_(posix::hiddenSibling(destination, "new")) {
        std::string name = path_.native() + "XXXXXX";
        if (::mkdtemp(name.data()) == nullptr) {
            error_ = errno;
            path_.clear();
            return;
        }
        path_ = name;
        lock_.reset(::open(path_.c_str(), openFolder));
        // Without locks on this file system, a second copy at the same time is on its own.
        if (!lock_ || (::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)) {
            error_ = errno;
        }
    }
    ~WorkFolder() {
        if (!path_.empty()) {
            posix::removeTree(path_);
        }
    }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    [[nodiscard]] int error() const { return error_; }
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
    posix::UniqueFd lock_;
    int error_ = 0;
};

struct Leftovers {
    std::vector<std::filesystem::path> copies;
    std::vector<std::filesystem::path> setAside;
    bool inUse = false;
};

bool isLocked(const std::filesystem::path& path) {
    const posix::UniqueFd folder(::open(path.c_str(), openFolder));
    return folder && ::flock(folder.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

Leftovers leftoversOf(const std::filesystem::path& destination) {
    Leftovers found;
    const posix::UniqueFd parent(
        ::open(destination.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!parent) {
        return found;
    }
    const std::string copy = posix::hiddenSibling(destination, "new").filename();
    const std::string aside = posix::hiddenSibling(destination, "old").filename();
    const auto names = posix::folderEntries(parent.get());
    if (!names) {
        return found;
    }
    for (const std::string& name : *names) {
        const auto path = destination.parent_path() / name;
        if (name.starts_with(copy)) {
            found.copies.push_back(path);
            found.inUse = found.inUse || isLocked(path);
        } else if (name.starts_with(aside)) {
            found.setAside.push_back(path);
        }
    }
    return found;
}

} // namespace

bool PosixFolderTree::isWritableFolder(const std::filesystem::path& folder) const {
    struct stat status{};
    return ::stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           ::access(folder.c_str(), W_OK | X_OK) == 0;
}

std::expected<void, FileError>
PosixFolderTree::replaceWithCopy(const std::filesystem::path& source,
                                 const std::filesystem::path& destination) {
    const std::string attempt =
        "cannot copy " + source.native() + " to " + destination.parent_path().native();
    if (areTheSame(source, destination)) {
        return failure(attempt, EEXIST);
    }
    if (isInside(destination.parent_path(), source)) {
        return failure(attempt, EINVAL);
    }
    clearLeftovers(destination);
    const WorkFolder work(destination);
    if (work.error() != 0) {
        return failure(attempt, work.error());
    }
    if (auto copied = posix::copyTreeInto(source, work.path()); !copied) {
        return copied;
    }
    if (const int error = posix::placeTree(work.path(), destination, exchange_); error != 0) {
        return failure("cannot replace " + destination.native(), error);
    }
    return {};
}

void PosixFolderTree::clearLeftovers(const std::filesystem::path& destination) {
    Leftovers found = leftoversOf(destination);
    if (found.inUse) {
        return;
    }
    if (!found.setAside.empty() && !isThere(destination) &&
        ::rename(found.setAside.back().c_str(), destination.c_str()) == 0) {
        found.setAside.pop_back();
    }
    for (const auto* leftovers : {&found.copies, &found.setAside}) {
        for (const std::filesystem::path& path : *leftovers) {
            posix::removeTree(path);
        }
    }
}

} // namespace platform
