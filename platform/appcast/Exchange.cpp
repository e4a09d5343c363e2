#include "platform/appcast/Exchange.h"

#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace platform::appcast {
namespace {

void flushFolder(const std::filesystem::path& folder) {
    const posix::UniqueFd descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor) {
        ::fsync(descriptor.get());
    }
}

} // namespace

std::expected<void, int> exchangeFolders(const std::filesystem::path& staged,
                                         const std::filesystem::path& target) {
    if (::renameat2(AT_FDCWD, staged.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) != 0) {
        if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) {
            return std::unexpected(errno);
        }
        if (auto exchanged = exchangeByRenaming(staged, target); !exchanged) {
            return exchanged;
        }
    }
    flushFolder(target.parent_path());
    return {};
}

std::expected<void, int> exchangeByRenaming(const std::filesystem::path& staged,
                                            const std::filesystem::path& target) {
    std::filesystem::path aside = staged;
    aside += ".previous";
    if (::rename(target.c_str(), aside.c_str()) != 0) {
        return std::unexpected(errno);
    }
    if (::rename(staged.c_str(), target.c_str()) != 0) {
        const int error = errno;
        ::rename(aside.c_str(), target.c_str());
        return std::unexpected(error);
    }
    if (::rename(aside.c_str(), staged.c_str()) != 0) {
        const int error = errno;
        ::rename(target.c_str(), staged.c_str());
        ::rename(aside.c_str(), target.c_str());
        return std::unexpected(error);
    }
    return {};
}

} // namespace platform::appcast
