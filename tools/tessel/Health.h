// What the commands of `tessel health` share.
#pragma once

#include "mac/Tessel/Health/AppHealthStore.h"
#include "platform/RandomSource.h"
#include "platform/posix/PosixDurableFiles.h"
#include "tools/tessel/Tool.h"

#include <CLI/App.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tool::health {

// A health store in the folder given on the command line.
struct StoreOptions {
    std::string root;
    int historyLimit = tessel::AppHealthStore::defaultHistoryLimit;
    int pendingLimit = tessel::AppHealthStore::defaultPendingLimit;

    void addRoot(CLI::App& command);
    void addLimits(CLI::App& command);
};

// Whether the folder is there; if not, the command has failed and said so.
[[nodiscard]] bool isThere(const StoreOptions& options, Tool& tool);

// An option that takes one of the triggers.
CLI::Option* addTrigger(CLI::App& command, std::string& trigger, const std::string& description);

class OpenStore {
  public:
    // Throws what the store's constructor throws.
    explicit OpenStore(const StoreOptions& options);

    [[nodiscard]] tessel::AppHealthStore& operator*() { return store_; }
    [[nodiscard]] tessel::AppHealthStore* operator->() { return &store_; }

  private:
    platform::PosixDurableFiles files_;
    std::unique_ptr<platform::RandomSource> random_;
    tessel::AppHealthStore store_;
};

// A health store that is only looked at: nothing on the disk changes.
class StoreToRead {
  public:
    explicit StoreToRead(const StoreOptions& options);

    [[nodiscard]] const tessel::AppHealthStore* operator->() const { return store_.get(); }

  private:
    platform::PosixDurableFiles files_;
    std::unique_ptr<platform::RandomSource> random_;
    std::unique_ptr<const tessel::AppHealthStore> store_;
};

// Makes what the action throws the command's failure: every message of a validation on a line.
void guarded(Tool& tool, const std::function<void()>& action);

void addReports(CLI::App& health, Tool& tool); // validate, record, latest, history, pending, find
void addRun(CLI::App& health, Tool& tool);     // run, flush
void addAttest(CLI::App& health, Tool& tool);

} // namespace tool::health
