// A folder with a health store in it, and what must hold of it at any time.
#pragma once

#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/AppHealthReportFile.h"
#include "mac/Tessel/Health/AppHealthStore.h"
#include "platform/RandomSource.h"
#include "platform/posix/PosixDurableFiles.h"
#include "tests/health/HealthWorker.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

class StoreFixture : public testing::Test {
  protected:
    // A killed process does not take the system's memory with it: without a disk the same is
    // shown, many times faster.
    static std::filesystem::path inMemory() {
        const std::filesystem::path shared = "/dev/shm";
        return ::access(shared.c_str(), W_OK) == 0 ? shared
                                                   : std::filesystem::temp_directory_path();
    }
    StoreFixture() = default;
    explicit StoreFixture(const std::filesystem::path& parent)
        : folder(parent) {}

    static constexpr auto* staleName =
        ".20270115080001000-0123456789abcdef.json.tmp-00112233-4455-4677-8899-AABBCCDDEEFF";

    [[nodiscard]] std::unique_ptr<tessel::AppHealthStore> open() {
        return std::make_unique<tessel::AppHealthStore>(
            root, files, *random, health_worker::historyLimit, health_worker::pendingLimit);
    }
    static std::string stored(int number) {
        return tessel::AppHealthJSON::storedData(health_worker::report(number));
    }
    static std::string nameOf(int number) {
        return tessel::AppHealthReportFile::nameOf(
            tessel::AppHealthReportFile::keyOf(health_worker::report(number), stored(number)));
    }
    static std::string read(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static void write(const std::filesystem::path& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    }
    static unsigned modeOf(const std::filesystem::path& path) {
        struct stat status{};
        return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
    }
    [[nodiscard]] std::set<std::string> namesIn(const std::string& where) const {
        std::set<std::string> names;
        if (std::filesystem::is_directory(root / where)) {
            for (const auto& entry : std::filesystem::directory_iterator(root / where)) {
                names.insert(entry.path().filename());
            }
        }
        return names;
    }
    [[nodiscard]] std::vector<std::string> temporaries() const {
        std::vector<std::string> found;
        for (const auto* where : {"", "history", "pending"}) {
            for (const auto& name : namesIn(where)) {
                if (name.contains(".tmp-")) {
                    found.push_back(name);
                }
            }
        }
        return found;
    }

    test_support::TemporaryFolder folder;
    const std::filesystem::path root = folder / "health";
    platform::PosixDurableFiles files;
    std::unique_ptr<platform::RandomSource> random = platform::makeRandomSource();
};
