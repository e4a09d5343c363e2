#include "platform/linux/KeyFileDefaults.h"

#include "platform/ErrnoText.h"
#include "platform/linux/KeyFile.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/ReadFile.h"
#include "platform/posix/ReplaceFile.h"
#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <glib.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace platform {
namespace {

constexpr const char* group = "defaults";
constexpr std::size_t largestFile = std::size_t{1} << 20;

// What tells one state of the file from another; absent when there is no file.
struct Stamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;

    bool operator==(const Stamp&) const = default;
};

std::optional<Stamp> stampOf(const std::filesystem::path& path) {
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return Stamp{.device = status.st_dev,
                 .inode = status.st_ino,
                 .size = status.st_size,
                 .seconds = status.st_mtim.tv_sec,
                 .nanoseconds = status.st_mtim.tv_nsec};
}

// Key files reserve some characters and drop outer spaces: everything that is not plainly a name
// is written as % and two hexadecimal digits.
std::string fileKey(std::string_view key) {
    std::string text;
    for (const char c : key) {
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                             (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '_';
        text += isPlain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return text.empty() ? "%" : text;
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const auto first = text.find_first_not_of(blanks);
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

KeyFile emptyKeyFile() {
    return KeyFile(::g_key_file_new());
}

// Nothing when the content is no key file.
KeyFile parseDefaults(const std::string& content) {
    return content.empty() ? emptyKeyFile() : parseKeyFile(content);
}

// Keeps other processes of this user from saving at the same moment, as far as the file system
// has locks.
class FolderLock {
  public:
    explicit FolderLock(const std::filesystem::path& folder)
        : fd_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (fd_) {
            ::flock(fd_.get(), LOCK_EX);
        }
    }

  private:
    posix::UniqueFd fd_;
};

} // namespace

class KeyFileDefaults::Store {
  public:
    Store(std::filesystem::path folder, Log& log)
        : folder_(std::move(folder))
        , path_(folder_ / "defaults.ini")
        , log_(log) {
        readIfChanged();
    }

    std::optional<std::string> value(std::string_view key) {
        const std::scoped_lock lock(mutex_);
        readIfChanged();
        return valueLocked(fileKey(key));
    }

    void set(std::string_view key, std::optional<std::string> value) {
        const std::scoped_lock lock(mutex_);
        readIfChanged();
        auto name = fileKey(key);
        if (unsaved_.empty() && valueLocked(name) == value) {
            return;
        }
        unsaved_.insert_or_assign(std::move(name), std::move(value));
        save();
    }

  private:
    std::optional<std::string> valueLocked(const std::string& name) const {
        if (const auto found = unsaved_.find(name); found != unsaved_.end()) {
            return found->second;
        }
        char* raw = ::g_key_file_get_value(file_.get(), group, name.c_str(), nullptr);
        if (raw == nullptr) {
            return std::nullopt;
        }
        return std::string(trimmed(takeText(raw)));
    }

    void readIfChanged() {
        const auto now = stampOf(path_);
        if (file_ != nullptr && now == stamp_) {
            return;
        }
        stamp_ = now;
        file_ = now ? read() : emptyKeyFile();
    }

    KeyFile read() {
        const auto content = posix::readFile(path_, largestFile);
        if (content) {
            if (auto parsed = parseDefaults(*content)) {
                return parsed;
            }
            moveAside("it is no key file");
        } else if (content.error() == EFBIG) {
            moveAside("it is too large");
        } else if (content.error() != ENOENT) {
            log_.write(
                fmt::format("cannot read {}: {}", path_.native(), errnoText(content.error())));
        }
        return emptyKeyFile();
    }

    void moveAside(std::string_view why) {
        const std::string aside = path_.native() + ".damaged";
        if (::rename(path_.c_str(), aside.c_str()) == 0) {
            stamp_.reset();
            log_.write(fmt::format("cannot use {}: {}; kept as {}", path_.native(), why, aside));
        } else {
            log_.write(fmt::format("cannot use {}: {}", path_.native(), why));
        }
    }

    void save() {
        PosixFileSystem files(folder_);
        if (const auto made = files.applicationSupportFolder(true); !made) {
            log_.write(
                fmt::format("cannot save the user's defaults: {}", made.error().description()));
            return;
        }
        const FolderLock lock(folder_);
        readIfChanged();
        for (const auto& [name, value] : unsaved_) {
            if (value) {
                ::g_key_file_set_value(file_.get(), group, name.c_str(), value->c_str());
            } else {
                ::g_key_file_remove_key(file_.get(), group, name.c_str(), nullptr);
            }
        }
        const std::string content = takeText(::g_key_file_to_data(file_.get(), nullptr, nullptr));
        if (const auto replaced = posix::replaceFile(path_, content); !replaced) {
            log_.write(fmt::format("cannot save the user's defaults: cannot write {}: {}",
                                   path_.native(), errnoText(replaced.error())));
            return;
        }
        unsaved_.clear();
        stamp_ = stampOf(path_);
    }

    const std::filesystem::path folder_;
    const std::filesystem::path path_;
    Log& log_;
    std::mutex mutex_;
    KeyFile file_;
    std::optional<Stamp> stamp_;
    // By name in the file, what a later save still has to bring there; nothing means removed.
    std::map<std::string, std::optional<std::string>> unsaved_;
};

KeyFileDefaults::KeyFileDefaults(std::filesystem::path folder, Log& log)
    : store_(std::make_unique<Store>(std::move(folder), log)) {}

KeyFileDefaults::~KeyFileDefaults() = default;

std::int64_t KeyFileDefaults::integer(std::string_view key) const {
    return wholeNumber(store_->value(key).value_or("")).value_or(0);
}

void KeyFileDefaults::setInteger(std::string_view key, std::int64_t value) {
    store_->set(key, fmt::format("{}", value));
}

bool KeyFileDefaults::boolean(std::string_view key) const {
    const auto text = store_->value(key).value_or("");
    return text == "true" || wholeNumber(text).value_or(0) != 0;
}

void KeyFileDefaults::setBoolean(std::string_view key, bool value) {
    store_->set(key, value ? "true" : "false");
}

void KeyFileDefaults::remove(std::string_view key) {
    store_->set(key, std::nullopt);
}

} // namespace platform
