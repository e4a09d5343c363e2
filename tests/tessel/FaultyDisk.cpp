#include "tests/tessel/FaultyDisk.h"

#include "tests/support/faultfs/FaultFs.h"

#include <cstdlib>
#include <fstream>
#include <utility>

namespace tool::test {

FaultyDisk::FaultyDisk(std::filesystem::path root, std::filesystem::path log)
    : root_(std::move(root))
    , log_(std::move(log)) {}

std::map<std::string, std::string> FaultyDisk::environment(const std::string& action,
                                                           long call) const {
    std::filesystem::remove(log_);
    // The library comes before the sanitizer's own.
    const char* const options = std::getenv("ASAN_OPTIONS"); // NOLINT(concurrency-mt-unsafe)
    return {{"LD_PRELOAD", FAULTFS_LIBRARY},
            {"ASAN_OPTIONS",
             std::string("verify_asan_link_order=0:") + (options == nullptr ? "" : options)},
            {faultfs::rootVariable, root_},
            {faultfs::logVariable, log_},
            {faultfs::callVariable, std::to_string(call)},
            {faultfs::actionVariable, action}};
}

std::vector<std::string> FaultyDisk::calls() const {
    std::vector<std::string> names;
    std::ifstream log(log_);
    for (std::string number, name, rest; log >> number >> name && std::getline(log, rest);) {
        if (number != "AGAIN") {
            names.push_back(name);
        }
    }
    return names;
}

} // namespace tool::test
