// Starts the worker program, with the fault library if a fault is asked for, and waits for its end.
#pragma once

#include "tests/support/faultfs/FaultFs.h"

#include <sys/types.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace health_worker {

struct Fault {
    std::string action;
    long call = 0; // 0: only count
    std::filesystem::path log;
};

struct Outcome {
    int status = -1; // exit status; 128 + the signal's number when a signal ended it
    std::vector<std::string> said;

    [[nodiscard]] bool hasSaid(const std::string& beginning) const;
};

class Worker {
  public:
    // Throws std::runtime_error when it cannot be started.
    Worker(const std::filesystem::path& root, const std::string& mode, int number,
           const std::optional<Fault>& fault = std::nullopt);
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker();

    [[nodiscard]] Outcome finish();

  private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> output_;
    pid_t pid_ = -1;
};

} // namespace health_worker
