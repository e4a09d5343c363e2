// What AppHealthStore::record() costs beside the bare system calls it cannot do without, on the
// file system of the current folder: the same calls with the same bytes and the same flushes, in a
// plain loop. Both take turns report by report, so that the disk's moods meet both.
// Usage: bench_health_store [REPORTS [FOLDER]]
#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/AppHealthReportFile.h"
#include "mac/Tessel/Health/AppHealthStore.h"
#include "platform/RandomSource.h"
#include "platform/posix/PosixDurableFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// A report of about 2 KB.
tessel::AppHealthReport reportOf(int number) {
    std::vector<tessel::AppHealthCheckResult> checks;
    for (int check = 0; check < 10; ++check) {
        checks.push_back({.id = fmt::format("check.number{}", check),
                          .category = tessel::AppHealthCategory::smoke,
                          .durationMs = number + check,
                          .metrics = {{"rows", check}, {"freeBytes", 1e9 + number}}});
    }
    return tessel::AppHealthReport(
        {.app = "zorvane",
         .version = "1.2.0",
         .build = "7",
         .sourceCommit = "abc123",
         .generatedAt = tessel::Timestamp(std::chrono::milliseconds(1'800'000'000'000 + number)),
         .checks = std::move(checks)});
}

void require(bool holds, const char* call) {
    if (!holds) {
        fmt::print(stderr, "{} failed\n", call);
        std::exit(1);
    }
}

void bareLstat(const char* path) {
    struct stat status{};
    require(::lstat(path, &status) == 0, "lstat");
}

void bareWrite(const std::string& folder, const std::string& name, const std::string& data) {
    bareLstat(folder.c_str());
    const std::string temporary = folder + "/." + name + ".tmp";
    const std::string file = folder + "/" + name;
    const int open = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    require(open >= 0 && ::fchmod(open, 0600) == 0, "open");
    require(::write(open, data.data(), data.size()) == static_cast<ssize_t>(data.size()), "write");
    require(::fsync(open) == 0 && ::close(open) == 0, "fsync");
    require(::rename(temporary.c_str(), file.c_str()) == 0, "rename");
    require(::chmod(file.c_str(), 0600) == 0, "chmod");
    const int above = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(above >= 0 && ::fsync(above) == 0 && ::close(above) == 0, "fsync of a folder");
}

void bareTrim(const std::string& folder, const std::string& oldest) {
    DIR* const open = ::opendir(folder.c_str());
    require(open != nullptr, "opendir");
    while (::readdir(open) != nullptr) {
    }
    ::closedir(open);
    if (!oldest.empty()) {
        require(::unlink((folder + "/" + oldest).c_str()) == 0, "unlink");
    }
}

struct Names {
    std::vector<std::string> all;

    // The file that goes when the last of them came and `limit` remain.
    [[nodiscard]] std::string dropped(std::size_t limit) const {
        return all.size() > limit ? all[all.size() - 1 - limit] : std::string();
    }
};

void bareRecord(const std::string& root, const Names& names, const std::string& data) {
    const std::string history = root + "/history";
    const std::string pending = root + "/pending";
    for (const auto& folder : {root, history, pending}) {
        bareLstat(folder.c_str());
    }
    const int lock = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(lock >= 0 && ::flock(lock, LOCK_EX) == 0, "flock");
    bareWrite(history, names.all.back(), data);
    bareWrite(root, "latest.json", data);
    bareWrite(pending, names.all.back(), data);
    bareTrim(history, names.dropped(tessel::AppHealthStore::defaultHistoryLimit));
    bareTrim(pending, names.dropped(tessel::AppHealthStore::defaultPendingLimit));
    ::flock(lock, LOCK_UN);
    ::close(lock);
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

template <class Action>
double microseconds(Action action) {
    const auto start = Clock::now();
    action();
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

} // namespace

int main(int count, char** arguments) {
    const int reports = count > 1 ? std::atoi(arguments[1]) : 200;
    const std::filesystem::path parent = count > 2 ? arguments[2] : ".";
    std::string folder = (parent / "bench-health-XXXXXX").string();
    require(::mkdtemp(folder.data()) != nullptr, "mkdtemp");
    platform::PosixDurableFiles files;
    const auto random = platform::makeRandomSource();
    tessel::AppHealthStore store(folder + "/store", files, *random);
    const std::string bare = folder + "/bare";
    require(files.ensurePrivateFolder(bare + "/history").has_value(), "mkdir");
    require(files.ensurePrivateFolder(bare + "/pending").has_value(), "mkdir");

    std::vector<double> ours;
    std::vector<double> theirs;
    Names names;
    std::size_t bytes = 0;
    for (int number = 0; number < reports; ++number) {
        const auto report = reportOf(number);
        const std::string data = tessel::AppHealthJSON::storedData(report);
        bytes = data.size();
        names.all.push_back(
            tessel::AppHealthReportFile::nameOf(tessel::AppHealthReportFile::keyOf(report, data)));
        const auto runOurs = [&] { ours.push_back(microseconds([&] { store.record(report); })); };
        const auto runTheirs = [&] {
            theirs.push_back(microseconds([&] { bareRecord(bare, names, data); }));
        };
        if (number % 2 == 0) {
            runOurs();
            runTheirs();
        } else {
            runTheirs();
            runOurs();
        }
    }
    std::filesystem::remove_all(folder);
    fmt::print("{} reports of {} bytes, median of record(): {:.0f} us, of the bare calls: {:.0f} "
               "us, ratio {:.2f}\n",
               reports, bytes, median(ours), median(theirs), median(ours) / median(theirs));
    return 0;
}
