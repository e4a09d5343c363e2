#include "platform/testing/InMemorySystem.h"

#include <utility>

namespace platform::testing {

std::int64_t InMemoryDefaults::integer(std::string_view key) const {
    const auto found = values.find(key);
    return found == values.end() ? 0 : found->second;
}

void InMemoryDefaults::setInteger(std::string_view key, std::int64_t value) {
    values.insert_or_assign(std::string(key), value);
    ++writes;
}

void InMemoryDefaults::remove(std::string_view key) {
    values.erase(std::string(key));
}

std::expected<std::uint16_t, PortFailure> FakeLoopbackPorts::tryBind(std::uint16_t port) {
    asked.push_back(port);
    if (failure) {
        return std::unexpected(*failure);
    }
    if (port == 0) {
        return nextFree++;
    }
    if (taken.contains(port)) {
        return std::unexpected(PortFailure{PortFailure::Stage::bind, EADDRINUSE});
    }
    return port;
}

bool FakeRandomSource::fill(std::span<std::byte> bytes) {
    if (fails) {
        return false;
    }
    for (std::byte& byte : bytes) {
        byte = static_cast<std::byte>(next++);
    }
    return true;
}

std::optional<std::filesystem::path> FakeBundle::auxiliaryExecutable(std::string_view name) const {
    if (!auxiliaryExecutables.contains(name)) {
        return std::nullopt;
    }
    return executablePath().parent_path() / name;
}

std::optional<std::string> FakeBundle::infoString(std::string_view key) const {
    const auto found = info.find(key);
    return found == info.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::string> FakeBundle::resource(std::string_view name,
                                                std::string_view extension) const {
    const auto found = resources.find(std::string(name) + "." + std::string(extension));
    return found == resources.end() ? std::nullopt : std::optional(found->second);
}

bool InMemoryFiles::fileExists(const std::filesystem::path& path) const {
    return modes.contains(path);
}

std::expected<std::vector<std::string>, FileError>
InMemoryFiles::fileNames(const std::filesystem::path& folder) const {
    const auto found = listings.find(folder);
    if (found == listings.end()) {
        return std::unexpected(FileError{"cannot list " + folder.string(), ENOENT});
    }
    return found->second;
}

std::expected<std::filesystem::path, FileError>
InMemoryFiles::applicationSupportFolder(bool create) {
    if (supportFailure) {
        return std::unexpected(*supportFailure);
    }
    if (create) {
        modes.try_emplace("/support", 0755);
    }
    return "/support";
}

std::expected<void, FileError> InMemoryFiles::createFolders(const std::filesystem::path& folder,
                                                            mode_t mode) {
    if (createFailure) {
        return std::unexpected(*createFailure);
    }
    modes.try_emplace(folder, mode);
    return {};
}

std::expected<void, FileError> InMemoryFiles::setPermissions(const std::filesystem::path& path,
                                                             mode_t mode) {
    if (permissionFailure) {
        return std::unexpected(*permissionFailure);
    }
    modes.insert_or_assign(path, mode);
    return {};
}

mode_t InMemoryFiles::exchangeFileCreationMask(mode_t newMask) {
    return std::exchange(mask, newMask);
}

std::expected<CommandResult, CommandError>
FakeCommandRunner::run(const std::filesystem::path& executable,
                       const std::vector<std::string>& arguments, std::chrono::milliseconds timeout,
                       std::size_t /*maxOutput*/) {
    ran.push_back(executable);
    lastArguments = arguments;
    lastTimeout = timeout;
    const auto found = answers.find(executable);
    if (found == answers.end()) {
        return std::unexpected(
            CommandError{CommandError::Kind::notStarted, "cannot start " + executable.string()});
    }
    return found->second;
}

std::string FakeNumberFormatter::decimal(std::int64_t number) const {
    std::string text = std::to_string(number);
    const std::size_t firstDigit = number < 0 ? 1 : 0;
    for (std::size_t at = text.size(); at > firstDigit + 3;) {
        at -= 3;
        text.insert(at, 1, ',');
    }
    return text;
}

void RecordingLog::writeLines(std::string_view prefix, std::span<const std::string_view> some) {
    for (const std::string_view line : some) {
        lines.push_back(std::string(prefix) + std::string(line));
    }
}

} // namespace platform::testing
