#include "mac/Tessel/Health/AppHealthStore.h"

#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/AppHealthReportFile.h"
#include "mac/Tessel/Health/AppHealthStoreError.h"
#include "mac/Tessel/Health/AppHealthValidator.h"
#include "mac/Tessel/Health/WritePrivateFile.h"
#include "mac/Tessel/Values/Uuid.h"

#include <algorithm>
#include <cstddef>
#include <ranges>
#include <utility>

namespace tessel {
namespace {

constexpr std::string_view latestName = "latest.json";
constexpr std::string_view stateName = "state.json";
// The largest report that is valid has about a tenth of this when written by record().
constexpr std::size_t mostReportBytes = std::size_t{16} << 20;
constexpr std::size_t mostStateBytes = std::size_t{64} << 10;

std::size_t checkedLimit(int limit) {
    if (limit < 1) {
        throw AppHealthStoreError::invalidLimit();
    }
    return static_cast<std::size_t>(limit);
}

bool isOfBuild(const AppHealthReport& report, std::string_view app, std::string_view version,
               std::string_view build, std::optional<AppHealthTrigger> trigger) {
    return report.app == app && report.version == version && report.build == build &&
           (!trigger || report.trigger == *trigger);
}

std::vector<AppHealthReport> reportsOf(std::vector<StoredAppHealthReport> entries) {
    std::vector<AppHealthReport> reports;
    reports.reserve(entries.size());
    for (auto& entry : entries) {
        reports.push_back(std::move(entry.report));
    }
    return reports;
}

} // namespace

AppHealthStore::AppHealthStore(std::filesystem::path root, platform::DurableFiles& files,
                               platform::RandomSource& random, int historyLimit, int pendingLimit)
    : AppHealthStore(Reading{}, std::move(root), files, random, historyLimit, pendingLimit) {
    ensureFolders();
    removeTemporaries();
}

AppHealthStore::AppHealthStore(Reading /*tag*/, std::filesystem::path root,
                               platform::DurableFiles& files, platform::RandomSource& random,
                               int historyLimit, int pendingLimit)
    : root_(std::move(root))
    , files_(files)
    , random_(random)
    , historyLimit_(checkedLimit(historyLimit))
    , pendingLimit_(checkedLimit(pendingLimit)) {}

std::unique_ptr<const AppHealthStore> AppHealthStore::forReading(std::filesystem::path root,
                                                                 platform::DurableFiles& files,
                                                                 platform::RandomSource& random) {
    return std::unique_ptr<const AppHealthStore>(new AppHealthStore(
        Reading{}, std::move(root), files, random, defaultHistoryLimit, defaultPendingLimit));
}

std::string AppHealthStore::record(const AppHealthReport& report) {
    const std::lock_guard held(lock_);
    if (auto result = AppHealthValidator::validate(report); !result.ok) {
        throw AppHealthValidationError(std::move(result.errors));
    }
    ensureFolders();
    const auto alone = keepOthersOut();
    const std::string data = AppHealthJSON::storedData(report);
    std::string key = AppHealthReportFile::keyOf(report, data);
    const std::string name = AppHealthReportFile::nameOf(key);
    writeAtomically(historyFolder() / name, data);
    writeAtomically(latestFile(), data);
    writeAtomically(pendingFolder() / name, data);
    trim(historyFolder(), historyLimit_);
    trim(pendingFolder(), pendingLimit_);
    return key;
}

std::optional<AppHealthReport> AppHealthStore::latestReport() const {
    const std::lock_guard held(lock_);
    return readReport(latestFile());
}

std::vector<AppHealthReport> AppHealthStore::historyReports() const {
    return reportsOf(historyEntries());
}

std::vector<AppHealthReport> AppHealthStore::pendingReports() const {
    return reportsOf(pendingEntries());
}

std::optional<AppHealthReport>
AppHealthStore::findReport(std::string_view app, std::string_view version, std::string_view build,
                           std::optional<AppHealthTrigger> trigger) const {
    const std::lock_guard held(lock_);
    auto report = readReport(latestFile());
    if (report && isOfBuild(*report, app, version, build, trigger)) {
        return report;
    }
    for (const auto& name : reportNames(historyFolder()) | std::views::reverse) {
        report = readReport(historyFolder() / name);
        if (report && isOfBuild(*report, app, version, build, trigger)) {
            return report;
        }
    }
    return std::nullopt;
}

std::vector<StoredAppHealthReport> AppHealthStore::historyEntries() const {
    const std::lock_guard held(lock_);
    return reportEntries(historyFolder());
}

std::vector<StoredAppHealthReport> AppHealthStore::pendingEntries() const {
    const std::lock_guard held(lock_);
    return reportEntries(pendingFolder());
}

void AppHealthStore::markSubmitted(const StoredAppHealthReport& entry) {
    const std::lock_guard held(lock_);
    const auto alone = keepOthersOut();
    if (auto removed = files_.remove(pendingFolder() / entry.file.filename()); !removed) {
        throw AppHealthFileError(std::move(removed.error()));
    }
    syncFolder(files_, pendingFolder());
}

void AppHealthStore::saveState(const AppHealthState& state) {
    const std::lock_guard held(lock_);
    const auto alone = keepOthersOut();
    writeAtomically(stateFile(), state.encoded());
}

AppHealthState AppHealthStore::loadState() const {
    const std::lock_guard held(lock_);
    const auto data = files_.read(stateFile(), mostStateBytes);
    return data ? AppHealthState::decode(*data).value_or(AppHealthState()) : AppHealthState();
}

std::filesystem::path AppHealthStore::latestFile() const {
    return root_ / latestName;
}

std::filesystem::path AppHealthStore::stateFile() const {
    return root_ / stateName;
}

void AppHealthStore::ensureFolders() {
    ensurePrivateFolder(files_, root_);
    ensurePrivateFolder(files_, historyFolder());
    ensurePrivateFolder(files_, pendingFolder());
}

// Null where the folder cannot be locked: the store works there too, only not beside another.
std::unique_ptr<platform::FolderLock> AppHealthStore::keepOthersOut() {
    auto lock = files_.lockFolder(root_);
    return lock ? *std::move(lock) : nullptr;
}

void AppHealthStore::removeTemporaries() {
    const auto alone = keepOthersOut();
    if (alone == nullptr) {
        return; // they may be another store's, in use
    }
    removeTemporaries(
        root_, [](std::string_view name) { return name == latestName || name == stateName; });
    removeTemporaries(historyFolder(), &AppHealthReportFile::isName);
    removeTemporaries(pendingFolder(), &AppHealthReportFile::isName);
}

void AppHealthStore::removeTemporaries(const std::filesystem::path& folder,
                                       bool (*isOurs)(std::string_view)) {
    const auto names = files_.fileNames(folder);
    if (!names) {
        return; // the next store tries again
    }
    for (const auto& name : *names) {
        if (isOurs(AppHealthReportFile::temporaryFor(name))) {
            static_cast<void>(files_.remove(folder / name));
        }
    }
}

void AppHealthStore::writeAtomically(const std::filesystem::path& file, std::string_view data) {
    const auto uuid = randomUuid(random_);
    if (!uuid) {
        throw AppHealthStoreError::unableToCreatePrivateFile();
    }
    const auto temporary =
        file.parent_path() / AppHealthReportFile::temporaryName(file.filename().native(), *uuid);
    writePrivateFile(files_, file, temporary, data);
}

void AppHealthStore::trim(const std::filesystem::path& folder, std::size_t limit) {
    auto names = files_.fileNames(folder);
    if (!names) {
        throw AppHealthFileError(std::move(names.error()));
    }
    std::erase_if(*names, [](const auto& name) { return !AppHealthReportFile::isName(name); });
    const std::size_t excess = names->size() - std::min(names->size(), limit);
    for (const auto& name : *names | std::views::take(static_cast<std::ptrdiff_t>(excess))) {
        if (auto removed = files_.remove(folder / name); !removed) {
            throw AppHealthFileError(std::move(removed.error()));
        }
    }
}

std::vector<std::string> AppHealthStore::reportNames(const std::filesystem::path& folder) const {
    auto names = files_.fileNames(folder);
    if (!names) {
        return {};
    }
    std::erase_if(*names, [](const auto& name) { return !AppHealthReportFile::isName(name); });
    return *std::move(names);
}

std::optional<AppHealthReport> AppHealthStore::readReport(const std::filesystem::path& file) const {
    const auto data = files_.read(file, mostReportBytes);
    if (!data) {
        return std::nullopt;
    }
    try {
        return AppHealthValidator::decode(*data);
    } catch (const AppHealthValidationError&) {
        return std::nullopt;
    }
}

std::vector<StoredAppHealthReport>
AppHealthStore::reportEntries(const std::filesystem::path& folder) const {
    std::vector<StoredAppHealthReport> entries;
    for (const auto& name : reportNames(folder)) {
        if (auto report = readReport(folder / name)) {
            entries.push_back({.file = folder / name, .report = *std::move(report)});
        }
    }
    return entries;
}

} // namespace tessel
