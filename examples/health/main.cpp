// Health reports: two checks, a store in a folder of the caller's choice, a submitter.
//
//     example_health FOLDER
#include "mac/Tessel/Health/AppHealthRunner.h"
#include "mac/Tessel/Health/AppHealthStoreError.h"
#include "platform/Environment.h"
#include "platform/Headless.h"

#include <exception>
#include <filesystem>
#include <iostream>
#include <vector>

namespace {

using tessel::AppHealthCheck;
using tessel::AppHealthStatus;

std::vector<AppHealthCheck> checks(const std::filesystem::path& folder) {
    std::vector<AppHealthCheck> all;
    all.emplace_back("disk.space", tessel::AppHealthCategory::smoke, [folder] {
        const auto space = std::filesystem::space(folder);
        return AppHealthCheck::Outcome(space.available > 0 ? AppHealthStatus::pass
                                                           : AppHealthStatus::fail,
                                       {{"freeMiB", static_cast<double>(space.available >> 20U)}});
    });
    // What a check throws is a failure of the check, never of the program.
    all.emplace_back("folder.there", tessel::AppHealthCategory::unit, [folder] {
        return AppHealthCheck::Outcome(
            std::filesystem::is_directory(folder) ? AppHealthStatus::pass : AppHealthStatus::fail,
            {});
    });
    return all;
}

bool send(const tessel::AppHealthReport& report) {
    std::cout << "sent the report of " << report.generatedAt << '\n';
    return true; // false, or an exception, leaves it pending
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: example_health FOLDER\n";
        return 2;
    }
    try {
        const auto system = platform::makeHeadlessPlatform(platform::currentEnvironment());
        tessel::AppHealthStore store(argv[1], system->durableFiles(), system->randomSource());
        tessel::AppHealthRunner runner({"example", tessel::AppHealthChannel::dev, "1.0", "1", "",
                                        tessel::AppHealthArtifact::worker, 24 * 60 * 60.0},
                                       checks(argv[1]), store, send);
        // At once for a new build, then once a day.
        const auto report = runner.runIfNeeded();
        std::cout << (report ? tessel::rawValue(report->status) : "not due") << '\n';
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
