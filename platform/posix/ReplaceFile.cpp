#include "platform/posix/ReplaceFile.h"

#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace platform::posix {
namespace {

int writeAndFlush(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t count = ::write(file, content.data(), content.size());
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        if (count > 0) {
            content.remove_prefix(static_cast<std::size_t>(count));
        }
    }
    return ::fsync(file) == 0 ? 0 : errno;
}

// 0 or errno. The mode is put right on the descriptor, where the mask has no say.
int makeFile(int folder, const char* name, std::string_view content) {
    constexpr mode_t ownerOnly = 0600;
    ::unlinkat(folder, name, 0);
    const UniqueFd file(
        ::openat(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, ownerOnly));
    if (!file || ::fchmod(file.get(), ownerOnly) != 0) {
        return errno;
    }
    return writeAndFlush(file.get(), content);
}

} // namespace

std::expected<void, int> replaceFile(const std::filesystem::path& path, std::string_view content) {
    const auto parent = path.has_parent_path() ? path.parent_path() : ".";
    const UniqueFd folder(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        return std::unexpected(errno);
    }
    const std::string name = path.filename();
    const std::string temporary = "." + name + ".new";
    int error = makeFile(folder.get(), temporary.c_str(), content);
    if (error == 0 &&
        ::renameat(folder.get(), temporary.c_str(), folder.get(), name.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlinkat(folder.get(), temporary.c_str(), 0);
        return std::unexpected(error);
    }
    // The file is in place already: a folder that cannot be flushed only delays its safety.
    ::fsync(folder.get());
    return {};
}

} // namespace platform::posix
