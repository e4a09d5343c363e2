// Stands between the supervisor and the system and writes down what passes: how a server was
// launched, what it printed, how it ended, and every HTTP exchange with it. Nothing is changed on
// the way, but at most a mebibyte of output and the last exchange with each address are kept. The
// facilities outlive the witness.
#pragma once

#include "platform/ChildProcess.h"
#include "platform/Clock.h"
#include "platform/FileSystem.h"
#include "platform/HttpClient.h"
#include "platform/Log.h"
#include "platform/UserDefaults.h"

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zorvane {

// What is known about one launched server. Any thread.
class LaunchRecord {
  public:
    static constexpr std::size_t mostOutput = std::size_t{1} << 20;

    platform::ChildOptions options; // without the callbacks; fixed once launched

    void addOutput(std::string_view piece);
    [[nodiscard]] std::string output() const;
    void setExit(platform::ExitStatus status);
    [[nodiscard]] std::optional<platform::ExitStatus> exit() const;
    // Keeps the child until it has exited: nobody hears of an exit once every handle is gone.
    void keep(std::shared_ptr<platform::ChildProcess> child);

  private:
    mutable std::mutex mutex_;
    std::string output_;
    std::optional<platform::ExitStatus> exit_;
    std::shared_ptr<platform::ChildProcess> child_;
};

class WitnessedLauncher final : public platform::ChildLauncher {
  public:
    explicit WitnessedLauncher(platform::ChildLauncher& launcher)
        : launcher_(launcher) {}

    [[nodiscard]] std::expected<std::shared_ptr<platform::ChildProcess>, platform::LaunchError>
    launch(platform::ChildOptions options) override;

    // Of the latest launch; empty before the first one.
    [[nodiscard]] const std::shared_ptr<LaunchRecord>& record() const { return record_; }
    [[nodiscard]] std::shared_ptr<platform::ChildProcess> child() const { return child_.lock(); }

  private:
    platform::ChildLauncher& launcher_;
    std::shared_ptr<LaunchRecord> record_;
    std::weak_ptr<platform::ChildProcess> child_;
};

class WitnessedHttp final : public platform::HttpClient {
  public:
    explicit WitnessedHttp(platform::HttpClient& http)
        : http_(http) {}

    void send(platform::HttpRequest request,
              std::function<void(platform::HttpResult)> completion) override;

    // The latest exchange with exactly that URL, and all whose URL begins so.
    [[nodiscard]] std::optional<platform::HttpResult> exchange(std::string_view url) const;
    [[nodiscard]] std::vector<platform::HttpResult> exchangesBelow(std::string_view prefix) const;
    void forget();

  private:
    struct Exchanges {
        std::mutex mutex;
        std::map<std::string, platform::HttpResult, std::less<>> byUrl;
    };

    platform::HttpClient& http_;
    std::shared_ptr<Exchanges> exchanges_ = std::make_shared<Exchanges>();
};

// The supervisor's own log, which nobody needs to see.
class SilentLog final : public platform::Log {
  public:
    void write(std::string_view /*message*/) override {}
    void writeLines(std::string_view /*prefix*/,
                    std::span<const std::string_view> /*lines*/) override {}
};

// Settings that last as long as the object. Any thread.
class PassingDefaults final : public platform::UserDefaults {
  public:
    [[nodiscard]] std::int64_t integer(std::string_view key) const override;
    void setInteger(std::string_view key, std::int64_t value) override;
    [[nodiscard]] bool boolean(std::string_view key) const override { return integer(key) != 0; }
    void setBoolean(std::string_view key, bool value) override { setInteger(key, value ? 1 : 0); }
    void remove(std::string_view key) override;

  private:
    mutable std::mutex mutex_;
    std::map<std::string, std::int64_t, std::less<>> values_;
};

// The real files, with another folder in the place of the user's Application Support.
class RelocatedFiles final : public platform::FileSystem {
  public:
    RelocatedFiles(platform::FileSystem& files, std::filesystem::path support)
        : files_(files)
        , support_(std::move(support)) {}

    [[nodiscard]] bool fileExists(const std::filesystem::path& path) const override;
    [[nodiscard]] std::expected<std::vector<std::string>, platform::FileError>
    fileNames(const std::filesystem::path& folder) const override;
    [[nodiscard]] std::expected<std::filesystem::path, platform::FileError>
    applicationSupportFolder(bool create) override;
    [[nodiscard]] std::filesystem::path currentFolder() const override;
    [[nodiscard]] std::expected<void, platform::FileError>
    createFolders(const std::filesystem::path& folder, mode_t mode) override;
    [[nodiscard]] std::expected<void, platform::FileError>
    createFolders(const std::filesystem::path& folder) override;
    [[nodiscard]] std::expected<void, platform::FileError>
    setPermissions(const std::filesystem::path& path, mode_t mode) override;
    mode_t exchangeFileCreationMask(mode_t mask) override;

  private:
    platform::FileSystem& files_;
    std::filesystem::path support_;
};

} // namespace zorvane
