#include "ostrad/TreeWalk.h"

#include "ostrad/SafeFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <memory>

namespace ostrad {

namespace {

constexpr std::array<std::string_view, 5> kSystemFolders{
    "$RECYCLE.BIN", "@eaDir", "System Volume Information", "__MACOSX", "lost+found",
};
constexpr std::ptrdiff_t kDeepest = 64;

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

Folder openFolder(const std::string& root, const std::string& path) {
    UniqueFd descriptor = openFolderBeneath(root, path);
    if (!descriptor) {
        return nullptr;
    }
    Folder folder(::fdopendir(descriptor.get()));
    if (folder) {
        static_cast<void>(descriptor.release()); // the stream owns it now
    }
    return folder;
}

bool isPassedOver(std::string_view name) {
    return name.starts_with('.') || std::ranges::find(kSystemFolders, name) != kSystemFolders.end();
}

} // namespace

WalkOutcome walkTree(const std::string& root, const std::function<bool(std::string_view)>& wanted,
                     const std::function<void(FoundFile)>& found, const std::atomic<bool>& stop) {
    WalkOutcome outcome;
    std::vector<std::string> pending{""};
    while (!pending.empty()) {
        const std::string path = std::move(pending.back());
        pending.pop_back();
        const Folder folder = openFolder(root, path);
        if (!folder) {
            outcome.unreadable.push_back(path);
            continue;
        }
        while (const dirent* const entry = ::readdir(folder.get())) {
            if (stop) {
                outcome.stopped = true;
                return outcome;
            }
            struct stat status{};
            if (isPassedOver(entry->d_name) || ::fstatat(::dirfd(folder.get()), entry->d_name,
                                                         &status, AT_SYMLINK_NOFOLLOW) != 0) {
                continue;
            }
            std::string child = path.empty() ? entry->d_name : path + '/' + entry->d_name;
            if (S_ISDIR(status.st_mode) && std::ranges::count(child, '/') < kDeepest) {
                pending.push_back(std::move(child));
            } else if (S_ISREG(status.st_mode) && wanted(child)) {
                found({std::move(child),
                       {.size = static_cast<std::int64_t>(status.st_size),
                        .modified = static_cast<std::int64_t>(status.st_mtime),
                        .inode = static_cast<std::int64_t>(status.st_ino)}});
            }
        }
    }
    return outcome;
}

} // namespace ostrad
