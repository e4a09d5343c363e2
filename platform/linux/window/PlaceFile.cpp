#include "platform/linux/window/PlaceFile.h"

#include "platform/ErrnoText.h"
#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>
#include <vector>

namespace platform::gtk {
namespace {

using posix::UniqueFd;

constexpr int mostNumbers = 1000;
constexpr std::size_t pieceSize = std::size_t{1} << 20;

// "film (2).mkv"
std::filesystem::path numbered(const std::filesystem::path& target, int number) {
    return number == 1 ? target
                       : target.parent_path() / fmt::format("{} ({}){}", target.stem().native(),
                                                            number, target.extension().native());
}

// 0, or what went wrong. `name(path)` gives the file that name unless there is one already.
template <typename Name>
int nameIt(const std::filesystem::path& target, bool replace, Name name) {
    for (int number = 1; number <= mostNumbers; ++number) {
        const int error = name(numbered(target, number));
        if (error != EEXIST || replace) {
            return error;
        }
    }
    return EEXIST;
}

int rename(const std::filesystem::path& from, const std::filesystem::path& to, bool replace) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(),
                    replace ? 0U : RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL || replace) {
        return errno;
    }
    // A file system without such a rename.
    if (::link(from.c_str(), to.c_str()) != 0) {
        return errno;
    }
    ::unlink(from.c_str());
    return 0;
}

int copy(int from, int to, const std::stop_token& stop) {
    std::vector<char> piece(pieceSize);
    for (;;) {
        if (stop.stop_requested()) {
            return ECANCELED;
        }
        const ssize_t count = ::read(from, piece.data(), piece.size());
        if (count == 0) {
            return ::fsync(to) == 0 ? 0 : errno;
        }
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        for (ssize_t written = 0; written < count;) {
            const ssize_t some =
                ::write(to, piece.data() + written, static_cast<std::size_t>(count - written));
            if (some < 0 && errno != EINTR) {
                return errno;
            }
            written += some < 0 ? 0 : some;
        }
    }
}

std::filesystem::path hiddenBeside(const std::filesystem::path& target) {
    return target.parent_path() /
           fmt::format(".{}.{}.part", target.filename().native(), ::getpid());
}

// A file system that knows no files without a name: hidden until it is whole.
int copyByHiddenName(int from, const std::filesystem::path& target, bool replace,
                     const std::stop_token& stop) {
    const std::filesystem::path hidden = hiddenBeside(target);
    const UniqueFd to(
        ::open(hidden.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
    if (!to) {
        return errno;
    }
    int error = copy(from, to.get(), stop);
    if (error == 0) {
        error = nameIt(target, replace,
                       [&](const auto& name) { return rename(hidden, name, replace); });
    }
    if (error != 0) {
        ::unlink(hidden.c_str());
    }
    return error;
}

int copyAcross(const std::filesystem::path& file, const std::filesystem::path& target, bool replace,
               const std::stop_token& stop) {
    const UniqueFd from(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!from) {
        return errno;
    }
    const UniqueFd to(::open(target.parent_path().c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666));
    if (!to) {
        return errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL
                   ? copyByHiddenName(from.get(), target, replace, stop)
                   : errno;
    }
    if (const int error = copy(from.get(), to.get(), stop); error != 0) {
        return error;
    }
    const std::string own = fmt::format("/proc/self/fd/{}", to.get());
    const auto link = [&own](const std::filesystem::path& name) {
        return ::linkat(AT_FDCWD, own.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0
                   ? 0
                   : errno;
    };
    if (!replace) {
        return nameIt(target, replace, link);
    }
    const std::filesystem::path hidden = hiddenBeside(target); // whole already
    int error = link(hidden);
    if (error == 0 && (error = rename(hidden, target, replace)) != 0) {
        ::unlink(hidden.c_str());
    }
    return error;
}

} // namespace

std::string placeFile(const std::filesystem::path& file, const std::filesystem::path& target,
                      bool replace, const std::stop_token& stop) {
    int error =
        nameIt(target, replace, [&](const auto& name) { return rename(file, name, replace); });
    if (error == EXDEV) {
        error = copyAcross(file, target, replace, stop);
        ::unlink(file.c_str());
    }
    return error == 0 ? std::string() : errnoText(error);
}

} // namespace platform::gtk
