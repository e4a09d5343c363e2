// Keeps health reports in a private folder of the caller's choice: latest.json, a bounded history
// and a bounded queue of reports that nobody has taken yet. What record() has returned for is on
// stable storage; a crash at any moment leaves each file as it was or as it should be, and the
// next store that opens the folder clears away what was half written. Foreign, damaged and linked
// files are never read, never changed, never an error.
// Stores of several processes may share a folder: those that write take turns by an advisory lock
// on it, where the file system has such locks. Any thread; one lock serialises the operations of a
// store. Failures are thrown: AppHealthValidationError, AppHealthStoreError and, passed on from the
// file system, AppHealthFileError. The two facilities outlive the store.
#pragma once

#include "mac/Tessel/Health/AppHealthReport.h"
#include "mac/Tessel/Health/AppHealthState.h"
#include "platform/DurableFiles.h"
#include "platform/RandomSource.h"

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessel {

// A report and where it lies.
struct StoredAppHealthReport {
    // The file's name is the report's key and ".json".
    std::filesystem::path file;
    AppHealthReport report;
};

class AppHealthStore {
  public:
    // How many reports are kept, and how many of them for submission.
    static constexpr int defaultHistoryLimit = 30;
    static constexpr int defaultPendingLimit = 10;

    // Makes the folders (0700) or makes them private again.
    AppHealthStore(std::filesystem::path root, platform::DurableFiles& files,
                   platform::RandomSource& random, int historyLimit = defaultHistoryLimit,
                   int pendingLimit = defaultPendingLimit);
    // The store of a program that only looks: makes no folder, changes no permissions, clears
    // nothing away.
    [[nodiscard]] static std::unique_ptr<const AppHealthStore>
    forReading(std::filesystem::path root, platform::DurableFiles& files,
               platform::RandomSource& random);
    AppHealthStore(const AppHealthStore&) = delete;
    AppHealthStore& operator=(const AppHealthStore&) = delete;

    // Writes the report to the history, to latest.json and to the queue, in this order, and drops
    // the oldest beyond the limits. Returns the report's key. A report that is not valid is refused
    // before anything is touched.
    std::string record(const AppHealthReport& report);

    // Absent when there is none that can be read.
    [[nodiscard]] std::optional<AppHealthReport> latestReport() const;
    // Oldest first.
    [[nodiscard]] std::vector<AppHealthReport> historyReports() const;
    [[nodiscard]] std::vector<AppHealthReport> pendingReports() const;
    // The newest one of that build, and of that trigger if one is given.
    [[nodiscard]] std::optional<AppHealthReport>
    findReport(std::string_view app, std::string_view version, std::string_view build,
               std::optional<AppHealthTrigger> trigger = std::nullopt) const;

    // With their files, oldest first.
    [[nodiscard]] std::vector<StoredAppHealthReport> historyEntries() const;
    [[nodiscard]] std::vector<StoredAppHealthReport> pendingEntries() const;

    // For the runner: takes an entry of pendingEntries() out of the queue.
    void markSubmitted(const StoredAppHealthReport& entry);
    void saveState(const AppHealthState& state);
    // An empty state when there is none that can be read.
    [[nodiscard]] AppHealthState loadState() const;

    // As given.
    [[nodiscard]] const std::filesystem::path& root() const { return root_; }

  private:
    struct Reading {};
    AppHealthStore(Reading, std::filesystem::path root, platform::DurableFiles& files,
                   platform::RandomSource& random, int historyLimit, int pendingLimit);

    [[nodiscard]] std::filesystem::path historyFolder() const { return root_ / "history"; }
    [[nodiscard]] std::filesystem::path pendingFolder() const { return root_ / "pending"; }
    [[nodiscard]] std::filesystem::path latestFile() const;
    [[nodiscard]] std::filesystem::path stateFile() const;

    void ensureFolders();
    [[nodiscard]] std::unique_ptr<platform::FolderLock> keepOthersOut();
    void removeTemporaries();
    void removeTemporaries(const std::filesystem::path& folder, bool (*isOurs)(std::string_view));
    void writeAtomically(const std::filesystem::path& file, std::string_view data);
    void trim(const std::filesystem::path& folder, std::size_t limit);

    [[nodiscard]] std::vector<std::string> reportNames(const std::filesystem::path& folder) const;
    [[nodiscard]] std::optional<AppHealthReport>
    readReport(const std::filesystem::path& file) const;
    [[nodiscard]] std::vector<StoredAppHealthReport>
    reportEntries(const std::filesystem::path& folder) const;

    const std::filesystem::path root_;
    platform::DurableFiles& files_;
    platform::RandomSource& random_;
    const std::size_t historyLimit_;
    const std::size_t pendingLimit_;
    mutable std::mutex lock_;
};

} // namespace tessel
