#include "platform/appcast/Staging.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace platform::appcast {
namespace {

std::string namePrefix(const std::filesystem::path& bundle) {
    return "." + bundle.filename().string() + ".update-";
}

posix::UniqueFd openFolder(const std::filesystem::path& path) {
    return posix::UniqueFd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

bool belongsTo(uid_t owner, int folder) {
    struct stat status{};
    return ::fstat(folder, &status) == 0 && status.st_uid == owner;
}

void removeTree(const std::filesystem::path& path) {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

} // namespace

std::expected<Staging, int> Staging::beside(const std::filesystem::path& bundle) {
    std::string path = (bundle.parent_path() / (namePrefix(bundle) + "XXXXXX")).string();
    if (::mkdtemp(path.data()) == nullptr) {
        return std::unexpected(errno);
    }
    auto folder = openFolder(path);
    if (!folder || ::flock(folder.get(), LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        removeTree(path);
        return std::unexpected(error);
    }
    return Staging(std::move(path), std::move(folder));
}

Staging::Staging(std::filesystem::path path, posix::UniqueFd folder)
    : path_(std::move(path))
    , folder_(std::move(folder)) {}

Staging::Staging(Staging&& other) noexcept
    : path_(std::exchange(other.path_, {}))
    , folder_(std::move(other.folder_))
    , keeps_(other.keeps_) {}

Staging::~Staging() {
    if (!path_.empty() && !keeps_) {
        removeTree(path_);
    }
}

void removeLeftovers(const std::filesystem::path& bundle, uid_t owner) {
    struct stat status{};
    if (::lstat(bundle.c_str(), &status) != 0) {
        return;
    }
    const std::string prefix = namePrefix(bundle);
    std::vector<std::filesystem::path> found;
    std::error_code failed;
    for (std::filesystem::directory_iterator entry(bundle.parent_path(), failed), end;
         !failed && entry != end; entry.increment(failed)) {
        if (entry->path().filename().string().starts_with(prefix)) {
            found.push_back(entry->path());
        }
    }
    for (const auto& path : found) {
        const auto folder = openFolder(path);
        if (folder && belongsTo(owner, folder.get()) &&
            ::flock(folder.get(), LOCK_EX | LOCK_NB) == 0) {
            removeTree(path);
        }
    }
}

std::expected<posix::UniqueFd, int> makeNamelessFile(const std::filesystem::path& folder) {
    posix::UniqueFd file(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file) {
        return file;
    }
    // Some file systems have no such files.
    std::string path = (folder / ".update-XXXXXX").string();
    file.reset(::mkostemp(path.data(), O_CLOEXEC));
    if (!file) {
        return std::unexpected(errno);
    }
    ::unlink(path.c_str());
    return file;
}

} // namespace platform::appcast
