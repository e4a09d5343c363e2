// Small in-memory stands-in for the facilities that hold data or answer questions: defaults,
// files, ports, random bytes, the bundle, commands, numbers and the log. Each is a plain object
// whose fields a test sets and reads. For tests; one thread only.
#pragma once

#include "platform/Bundle.h"
#include "platform/CommandRunner.h"
#include "platform/FileSystem.h"
#include "platform/Log.h"
#include "platform/LoopbackPorts.h"
#include "platform/NumberFormatter.h"
#include "platform/RandomSource.h"
#include "platform/UserDefaults.h"

#include <cerrno>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace platform::testing {

class InMemoryDefaults final : public UserDefaults {
  public:
    [[nodiscard]] std::int64_t integer(std::string_view key) const override;
    void setInteger(std::string_view key, std::int64_t value) override;
    [[nodiscard]] bool boolean(std::string_view key) const override { return integer(key) != 0; }
    void setBoolean(std::string_view key, bool value) override { setInteger(key, value ? 1 : 0); }
    void remove(std::string_view key) override;

    std::map<std::string, std::int64_t, std::less<>> values;
    int writes = 0;
};

class FakeLoopbackPorts final : public LoopbackPorts {
  public:
    [[nodiscard]] std::expected<std::uint16_t, PortFailure> tryBind(std::uint16_t port) override;

    std::set<std::uint16_t> taken;
    std::uint16_t nextFree = 50001; // given out, then counted up
    std::optional<PortFailure> failure;
    std::vector<std::uint16_t> asked;
};

class FakeRandomSource final : public RandomSource {
  public:
    [[nodiscard]] bool fill(std::span<std::byte> bytes) override;

    bool fails = false;
    std::uint8_t next = 0; // bytes count up from here
};

class FakeBundle final : public Bundle {
  public:
    [[nodiscard]] std::optional<std::filesystem::path> bundlePath() const override { return path; }
    [[nodiscard]] std::optional<std::filesystem::path> resourcesPath() const override {
        return "/Apps/Zorvane.app/Contents/Resources";
    }
    [[nodiscard]] std::filesystem::path executablePath() const override {
        return "/Apps/Zorvane.app/Contents/MacOS/Zorvane";
    }
    [[nodiscard]] std::optional<std::filesystem::path>
    auxiliaryExecutable(std::string_view name) const override;
    [[nodiscard]] std::optional<std::string> infoString(std::string_view key) const override;
    [[nodiscard]] InfoDictionary infoDictionary() const override {
        return {info.begin(), info.end()};
    }
    [[nodiscard]] std::optional<std::string> resource(std::string_view name,
                                                      std::string_view extension) const override;

    std::optional<std::filesystem::path> path = "/Apps/Zorvane.app";
    std::set<std::string, std::less<>> auxiliaryExecutables;
    std::map<std::string, std::string, std::less<>> info;
    std::map<std::string, std::string, std::less<>> resources; // by file name
};

// Folders and files are paths with a mode; symbolic links do not exist.
class InMemoryFiles final : public FileSystem {
  public:
    [[nodiscard]] bool fileExists(const std::filesystem::path& path) const override;
    [[nodiscard]] std::expected<std::vector<std::string>, FileError>
    fileNames(const std::filesystem::path& folder) const override;
    [[nodiscard]] std::expected<std::filesystem::path, FileError>
    applicationSupportFolder(bool create) override;
    [[nodiscard]] std::filesystem::path currentFolder() const override { return "/home/ann/here"; }
    [[nodiscard]] std::expected<void, FileError> createFolders(const std::filesystem::path& folder,
                                                               mode_t mode) override;
    [[nodiscard]] std::expected<void, FileError>
    createFolders(const std::filesystem::path& folder) override {
        return createFolders(folder, 0777 & ~mask);
    }
    [[nodiscard]] std::expected<void, FileError> setPermissions(const std::filesystem::path& path,
                                                                mode_t mode) override;
    mode_t exchangeFileCreationMask(mode_t mask) override;

    std::map<std::filesystem::path, mode_t> modes; // of everything that exists
    std::map<std::filesystem::path, std::vector<std::string>> listings;
    std::optional<FileError> supportFailure;
    std::optional<FileError> createFailure;
    std::optional<FileError> permissionFailure;
    mode_t mask = 022;
};

class FakeCommandRunner final : public CommandRunner {
  public:
    [[nodiscard]] std::expected<CommandResult, CommandError>
    run(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
        std::chrono::milliseconds timeout, std::size_t maxOutput) override;

    // By executable; one that is not listed cannot be started.
    std::map<std::filesystem::path, std::expected<CommandResult, CommandError>> answers;
    std::vector<std::filesystem::path> ran;
    std::vector<std::string> lastArguments;
    std::chrono::milliseconds lastTimeout{0};
};

// As a user in the United States reads them.
class FakeNumberFormatter final : public NumberFormatter {
  public:
    [[nodiscard]] std::string decimal(std::int64_t number) const override;
};

class RecordingLog final : public Log {
  public:
    void write(std::string_view message) override { lines.emplace_back(message); }
    void writeLines(std::string_view prefix, std::span<const std::string_view> some) override;

    std::vector<std::string> lines;
};

} // namespace platform::testing
