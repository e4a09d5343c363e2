#include "platform/linux/Launcher.h"

#include "platform/ErrnoText.h"
#include "platform/linux/ExecLine.h"
#include "platform/linux/GObjectPtr.h"
#include "platform/linux/KeyFile.h"
#include "platform/posix/ReadFile.h"
#include "platform/posix/ReplaceFile.h"

#include <fmt/format.h>
#include <glib.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <system_error>

namespace platform {
namespace {

constexpr std::size_t largestEntry = std::size_t{64} << 10;

using Result = std::expected<void, std::string>;

bool starts(const std::string& content, const std::filesystem::path& executable) {
    const KeyFile file = parseKeyFile(content);
    if (!file) {
        return false;
    }
    const gtk::GMemory<char> line(
        ::g_key_file_get_string(file.get(), desktopEntryGroup, "Exec", nullptr));
    const auto command = line ? argumentsOfExec(line.get()) : std::nullopt;
    return command && command->front() == executable.native();
}

std::optional<std::string> entryFor(const std::string& content,
                                    const std::filesystem::path& executable) {
    const KeyFile file = parseKeyFile(content);
    if (!file) {
        return std::nullopt;
    }
    ::g_key_file_set_string(file.get(), desktopEntryGroup, "Exec",
                            quotedForExec(executable.native()).c_str());
    ::g_key_file_set_string(file.get(), desktopEntryGroup, "TryExec", executable.c_str());
    const gtk::GMemory<char> text(::g_key_file_to_data(file.get(), nullptr, nullptr));
    return std::string(text.get());
}

Result makeFolderOf(const std::filesystem::path& file, FileSystem& files) {
    constexpr mode_t everyoneMayRead = 0755;
    const auto made = files.createFolders(file.parent_path(), everyoneMayRead);
    return made ? Result{} : std::unexpected(made.error().description());
}

Result keepEntry(const Launcher& launcher, const std::filesystem::path& place, FileSystem& files) {
    if (const auto present = posix::readFile(place, largestEntry);
        present && starts(*present, launcher.executable)) {
        return {};
    }
    const auto own = posix::readFile(launcher.entry, largestEntry);
    const auto entry = own ? entryFor(*own, launcher.executable) : std::nullopt;
    if (!entry) {
        return std::unexpected(fmt::format("cannot use {}", launcher.entry.native()));
    }
    if (auto made = makeFolderOf(place, files); !made) {
        return made;
    }
    if (const auto written = posix::replaceFile(place, *entry); !written) {
        return std::unexpected(
            fmt::format("cannot write {}: {}", place.native(), errnoText(written.error())));
    }
    return {};
}

std::filesystem::path entryOf(const std::string& id, const std::filesystem::path& dataHome) {
    return dataHome / "applications" / (id + ".desktop");
}

std::filesystem::path iconOf(const std::string& id, const std::filesystem::path& dataHome) {
    return dataHome / "icons/hicolor/scalable/apps" / (id + ".svg");
}

// Only when the system says so: a folder that cannot be read says nothing.
bool isGone(const std::filesystem::path& file) {
    std::error_code failed;
    return std::filesystem::status(file, failed).type() == std::filesystem::file_type::not_found;
}

bool namesAMissingProgram(const std::string& content) {
    const KeyFile file = parseKeyFile(content);
    if (!file) {
        return false;
    }
    const gtk::GMemory<char> program(
        ::g_key_file_get_string(file.get(), desktopEntryGroup, "TryExec", nullptr));
    return program && std::filesystem::path(program.get()).is_absolute() && isGone(program.get());
}

Result removed(const std::filesystem::path& file) {
    std::error_code failed;
    std::filesystem::remove(file, failed);
    return failed ? std::unexpected(
                        fmt::format("cannot remove {}: {}", file.native(), failed.message()))
                  : Result{};
}

// Only a link is ours to replace.
Result keepIcon(const Launcher& launcher, const std::filesystem::path& place, FileSystem& files) {
    std::error_code failed;
    const auto status = std::filesystem::symlink_status(place, failed);
    if (std::filesystem::is_symlink(status)) {
        if (std::filesystem::read_symlink(place, failed) == launcher.icon) {
            return {};
        }
        std::filesystem::remove(place, failed);
    } else if (std::filesystem::exists(status)) {
        return {};
    }
    if (auto made = makeFolderOf(place, files); !made) {
        return made;
    }
    std::filesystem::create_symlink(launcher.icon, place, failed);
    return failed ? std::unexpected(
                        fmt::format("cannot write {}: {}", place.native(), failed.message()))
                  : Result{};
}

} // namespace

Result keepLauncher(const Launcher& launcher, const std::filesystem::path& dataHome,
                    FileSystem& files) {
    auto kept = keepEntry(launcher, entryOf(launcher.applicationId, dataHome), files);
    return kept ? keepIcon(launcher, iconOf(launcher.applicationId, dataHome), files) : kept;
}

Result removeStrayLauncher(const std::string& applicationId,
                           const std::filesystem::path& dataHome) {
    const std::filesystem::path entry = entryOf(applicationId, dataHome);
    const auto content = posix::readFile(entry, largestEntry);
    if (!content || !namesAMissingProgram(*content)) {
        return {};
    }
    const std::filesystem::path icon = iconOf(applicationId, dataHome);
    std::error_code failed;
    if (std::filesystem::is_symlink(icon, failed) && isGone(icon)) {
        if (auto gone = removed(icon); !gone) {
            return gone;
        }
    }
    return removed(entry);
}

} // namespace platform
