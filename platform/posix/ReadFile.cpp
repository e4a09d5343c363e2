#include "platform/posix/ReadFile.h"

#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace platform::posix {

std::expected<std::string, int> readFile(const std::filesystem::path& path, std::size_t maxBytes,
                                         Links links) {
    const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY |
                                                 (links == Links::refuse ? O_NOFOLLOW : 0)));
    struct stat status{};
    if (!file || ::fstat(file.get(), &status) != 0) {
        return std::unexpected(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return std::unexpected(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    }
    if (static_cast<unsigned long long>(status.st_size) > maxBytes) {
        return std::unexpected(EFBIG);
    }
    // The file may grow or shrink meanwhile, and the kernel says 0 of its own: the size is a first
    // guess, the bound holds anyway.
    constexpr std::size_t least = 256;
    std::string content(std::max(static_cast<std::size_t>(status.st_size) + 1, least), '\0');
    std::size_t size = 0;
    while (true) {
        const ssize_t count = ::read(file.get(), content.data() + size, content.size() - size);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return std::unexpected(errno);
        }
        if (count == 0) {
            content.resize(size);
            return content;
        }
        size += static_cast<std::size_t>(count);
        if (size > maxBytes) {
            return std::unexpected(EFBIG);
        }
        if (size == content.size()) {
            content.resize(2 * size);
        }
    }
}

} // namespace platform::posix
