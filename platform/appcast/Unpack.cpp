#include "platform/appcast/Unpack.h"

#include "platform/ErrnoText.h"
#include "platform/appcast/ArchiveTree.h"
#include "platform/posix/UniqueFd.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

namespace platform::appcast {
namespace {

using Outcome = std::expected<void, std::string>;

constexpr std::size_t pieceBytes = std::size_t{64} << 10;

struct ReaderFree {
    void operator()(archive* reader) const { ::archive_read_free(reader); }
};

std::unexpected<std::string> refused(std::string_view reason) {
    return std::unexpected(fmt::format("the archive {}", reason));
}

std::unexpected<std::string> cannotWrite(int error) {
    return std::unexpected(fmt::format("the update cannot be unpacked: {}", errnoText(error)));
}

int writeAll(int file, const char* data, std::size_t size) {
    while (size > 0) {
        const auto count = ::write(file, data, size);
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        if (count > 0) {
            data += count;
            size -= static_cast<std::size_t>(count);
        }
    }
    return 0;
}

class Unpacking {
  public:
    Unpacking(const std::filesystem::path& folder, const UnpackLimits& limits)
        : folder_(folder)
        , limits_(limits) {}

    Outcome run(int file) {
        if (auto opened = open(file); !opened) {
            return opened;
        }
        while (true) {
            archive_entry* entry = nullptr;
            const int result = ::archive_read_next_header(reader_.get(), &entry);
            if (result == ARCHIVE_EOF) {
                return finish();
            }
            // A warning is about a name that the locale cannot say, which is taken as UTF-8 here.
            if (result != ARCHIVE_OK && result != ARCHIVE_WARN) {
                return refused("is damaged");
            }
            if (auto taken = take(entry); !taken) {
                return taken;
            }
        }
    }

  private:
    Outcome open(int file) {
        if (::lseek(file, 0, SEEK_SET) != 0) {
            return refused("cannot be read");
        }
        reader_.reset(::archive_read_new());
        archive* const reader = reader_.get();
        ::archive_read_support_format_tar(reader);
        ::archive_read_support_format_zip(reader);
        ::archive_read_support_filter_gzip(reader);
        ::archive_read_support_filter_bzip2(reader);
        ::archive_read_support_filter_xz(reader);
        ::archive_read_support_filter_zstd(reader);
        if (::archive_read_open_fd(reader, file, pieceBytes) != ARCHIVE_OK) {
            return refused("is of no kind that is known");
        }
        return {};
    }

    static std::optional<ArchiveTree::Kind> kindOf(archive_entry* entry) {
        if (::archive_entry_hardlink(entry) != nullptr) {
            return std::nullopt;
        }
        switch (::archive_entry_filetype(entry)) {
        case AE_IFREG:
            return ArchiveTree::Kind::file;
        case AE_IFDIR:
            return ArchiveTree::Kind::folder;
        case AE_IFLNK:
            return ArchiveTree::Kind::link;
        default:
            return std::nullopt;
        }
    }

    static std::string_view textOrNothing(const char* first, const char* second) {
        return first != nullptr ? first : second != nullptr ? second : "";
    }

    Outcome take(archive_entry* entry) {
        if (++entries_ > limits_.entries) {
            return refused("holds too many entries");
        }
        const auto kind = kindOf(entry);
        if (!kind) {
            return refused("holds something that is neither file nor folder");
        }
        const auto mode = ::archive_entry_perm(entry);
        if (*kind == ArchiveTree::Kind::file && (mode & (S_ISUID | S_ISGID | S_ISVTX)) != 0) {
            return refused("holds a program that would run with other rights");
        }
        const auto path = tree_.add(
            textOrNothing(::archive_entry_pathname_utf8(entry), ::archive_entry_pathname(entry)),
            *kind,
            textOrNothing(::archive_entry_symlink_utf8(entry), ::archive_entry_symlink(entry)));
        if (!path) {
            return std::unexpected(path.error());
        }
        switch (*kind) {
        case ArchiveTree::Kind::folder:
            return makeFolders(*path);
        case ArchiveTree::Kind::file:
            return makeFile(*path, entry);
        case ArchiveTree::Kind::link: // made when all of them were found to stay inside
            return makeFolders(path->parent_path());
        }
        return {};
    }

    Outcome makeFolders(const std::filesystem::path& path) {
        std::filesystem::path whole = folder_;
        for (const auto& name : path) {
            whole /= name;
            if (::mkdir(whole.c_str(), 0700) == 0) {
                folders_.push_back(whole);
            } else if (errno != EEXIST) {
                return cannotWrite(errno);
            }
        }
        return {};
    }

    Outcome makeFile(const std::filesystem::path& path, archive_entry* entry) {
        if (auto made = makeFolders(path.parent_path()); !made) {
            return made;
        }
        if (::archive_entry_size_is_set(entry) != 0 && !fits(::archive_entry_size(entry))) {
            return refused("is too large");
        }
        const posix::UniqueFd file(::open(
            (folder_ / path).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!file) {
            return cannotWrite(errno);
        }
        if (auto copied = copyContent(file.get()); !copied) {
            return copied;
        }
        const bool isProgram = (::archive_entry_perm(entry) & 0111) != 0;
        if (::fchmod(file.get(), isProgram ? 0755 : 0644) != 0) {
            return cannotWrite(errno);
        }
        if (::archive_entry_mtime_is_set(entry) != 0) {
            const timespec time{.tv_sec = ::archive_entry_mtime(entry), .tv_nsec = 0};
            const std::array<timespec, 2> times{time, time};
            ::futimens(file.get(), times.data());
        }
        return {};
    }

    [[nodiscard]] bool fits(std::int64_t size) const {
        return size >= 0 && static_cast<std::uint64_t>(size) <= limits_.totalBytes - bytes_;
    }

    Outcome copyContent(int file) {
        std::vector<char> piece(pieceBytes);
        while (true) {
            const auto count = ::archive_read_data(reader_.get(), piece.data(), piece.size());
            if (count == 0) {
                return {};
            }
            if (count < 0) {
                return refused("is damaged");
            }
            if (!fits(count)) {
                return refused("is too large");
            }
            bytes_ += static_cast<std::uint64_t>(count);
            if (const int error = writeAll(file, piece.data(), static_cast<std::size_t>(count))) {
                return cannotWrite(error);
            }
        }
    }

    Outcome finish() {
        if (entries_ == 0) {
            return refused("is empty");
        }
        if (auto checked = tree_.checkLinks(); !checked) {
            return checked;
        }
        for (const auto& [path, target] : tree_.links()) {
            if (::symlink(target.c_str(), (folder_ / path).c_str()) != 0) {
                return cannotWrite(errno);
            }
        }
        for (const auto& made : folders_) {
            if (::chmod(made.c_str(), 0755) != 0) {
                return cannotWrite(errno);
            }
        }
        return {};
    }

    const std::filesystem::path& folder_;
    const UnpackLimits& limits_;
    std::unique_ptr<archive, ReaderFree> reader_;
    ArchiveTree tree_;
    std::vector<std::filesystem::path> folders_;
    std::size_t entries_ = 0;
    std::uint64_t bytes_ = 0;
};

} // namespace

std::expected<void, std::string> unpack(int file, const std::filesystem::path& folder,
                                        const UnpackLimits& limits) {
    return Unpacking(folder, limits).run(file);
}

} // namespace platform::appcast
