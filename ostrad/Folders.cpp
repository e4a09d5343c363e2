#include "ostrad/Folders.h"

#include "ostrad/Naming.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

namespace ostrad {

namespace {

constexpr std::size_t kMostNames = 2000;

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

struct FreeMemory {
    void operator()(char* memory) const { std::free(memory); }
};

std::string refusal(std::string_view path, int error) {
    switch (error) {
    case ENOENT:
        return fmt::format("There is no folder at {}.", path);
    case ENOTDIR:
        return fmt::format("{} is not a folder.", path);
    case EACCES:
    case EPERM:
        return fmt::format("{} cannot be read: permission denied.", path);
    case ELOOP:
        return fmt::format("{} is a link that leads nowhere.", path);
    default:
        return fmt::format("{} cannot be used: error {}.", path, error);
    }
}

struct OpenedFolder {
    std::string path; // canonical
    Folder folder;
};

std::expected<OpenedFolder, std::string> openFolder(std::string_view path) {
    const bool usable =
        path.starts_with('/') && path.size() < 4096 && path.find('\0') == std::string_view::npos;
    if (!usable) {
        return std::unexpected("The folder must be given by its full path, beginning with /.");
    }
    const std::string given(path);
    const std::unique_ptr<char, FreeMemory> real(::realpath(given.c_str(), nullptr));
    if (!real) {
        return std::unexpected(refusal(path, errno));
    }
    Folder folder(::opendir(real.get()));
    if (!folder) {
        return std::unexpected(refusal(path, errno));
    }
    return OpenedFolder{real.get(), std::move(folder)};
}

bool isFolder(const Folder& parent, const char* name) {
    struct stat status{};
    return ::fstatat(::dirfd(parent.get()), name, &status, 0) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

std::expected<std::string, std::string> resolveFolder(std::string_view path) {
    auto opened = openFolder(path);
    if (!opened) {
        return std::unexpected(std::move(opened.error()));
    }
    if (opened->path == "/") {
        return std::unexpected("The whole disk cannot be a library: choose a folder.");
    }
    return std::move(opened->path);
}

std::expected<FolderListing, std::string> listFolders(std::string_view path) {
    const char* const home = std::getenv("HOME");
    auto opened = openFolder(!path.empty() ? path : home != nullptr ? home : "/");
    if (!opened) {
        return std::unexpected(std::move(opened.error()));
    }
    FolderListing listing{.path = opened->path, .parent = {}, .names = {}};
    if (listing.path != "/") {
        const std::size_t slash = listing.path.rfind('/');
        listing.parent = slash == 0 ? "/" : listing.path.substr(0, slash);
    }
    while (const dirent* const entry = ::readdir(opened->folder.get())) {
        const std::string name = entry->d_name;
        if (!name.starts_with('.') && validUtf8(name) == name &&
            isFolder(opened->folder, entry->d_name) && listing.names.size() < kMostNames) {
            listing.names.push_back(name);
        }
    }
    std::ranges::sort(listing.names, {}, sortKey);
    return listing;
}

std::string folderName(std::string_view path) {
    const std::string_view last = path.substr(path.rfind('/') + 1);
    return validUtf8(last.empty() ? path : last);
}

} // namespace ostrad
