// Writes health reports to measure with, and measures how long it takes to validate and decode
// one; bench/health/compare.mjs puts the numbers beside another implementation's.
#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/AppHealthReport.h"
#include "mac/Tessel/Health/AppHealthValidator.h"

#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using Clock = std::chrono::steady_clock;

struct Shape {
    int checks;
    int metrics; // of each check
};

tessel::AppHealthReport makeReport(const Shape& shape) {
    std::mt19937_64 random(7);
    tessel::AppHealthReport::Input input{
        .app = "zorvane",
        .channel = tessel::AppHealthChannel::beta,
        .version = "1.4.2+build-7",
        .build = "742",
        .sourceCommit = "0123456789abcdef0123456789abcdef01234567",
        .trigger = tessel::AppHealthTrigger::periodic,
        .generatedAt = tessel::Timestamp(std::chrono::milliseconds(1'790'000'000'123)),
        .bundleBytes = 48'211'968,
        .logKey = "health/zorvane/742/run-1.json"};
    for (int check = 0; check < shape.checks; ++check) {
        tessel::AppHealthCheckResult result{
            .id = fmt::format("library.scan-{}", check),
            .category = tessel::AppHealthCategory::reliability,
            .status = tessel::AppHealthStatus::pass,
            .durationMs = static_cast<std::int64_t>(random() % 5'000),
        };
        // Counts, shares and times, as checks report them.
        for (int metric = 0; metric < shape.metrics; ++metric) {
            const double value = metric % 3 == 0   ? static_cast<double>(random() % 100'000)
                                 : metric % 3 == 1 ? static_cast<double>(random() % 1'000) / 1'000
                                                   : static_cast<double>(random()) / 1e16;
            result.metrics.emplace(fmt::format("scan.value_{}", metric), value);
        }
        input.checks.push_back(std::move(result));
    }
    input.attestation = tessel::AppHealthAttestation::wrapper(
        {.gatesVerified = true,
         .verifiedSuites = {"unit", "smoke"},
         .receipt = {"build-attestation@1",
                     input.app,
                     input.version,
                     input.build,
                     input.sourceCommit,
                     std::get<tessel::Timestamp>(input.generatedAt),
                     {}}});
    return tessel::AppHealthReport(std::move(input));
}

std::string readFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Microseconds a call, in the best of many short slices.
template <class Action>
double timeOf(Action action) {
    constexpr int slices = 200;
    constexpr double microsecondsOfSlice = 2'000;
    double best = std::numeric_limits<double>::infinity();
    for (int slice = 0, calls = 1; slice < slices; ++slice) {
        const auto start = Clock::now();
        for (int call = 0; call < calls; ++call) {
            action();
        }
        const std::chrono::duration<double, std::micro> time = Clock::now() - start;
        best = std::min(best, time.count() / calls);
        calls = std::max(1, static_cast<int>(microsecondsOfSlice / best));
    }
    return best;
}

void require(bool holds) {
    if (!holds) {
        throw std::runtime_error("the document is not valid");
    }
}

int run(std::string_view mode, char** arguments) {
    if (mode == "write") {
        const Shape shape =
            std::string_view(arguments[0]) == "small" ? Shape{4, 3} : Shape{256, 22};
        std::ofstream(arguments[1], std::ios::binary)
            << tessel::AppHealthJSON::storedData(makeReport(shape));
        return EXIT_SUCCESS;
    }
    const std::string text = readFile(arguments[0]);
    if (mode == "validate") {
        fmt::print("{}\n", timeOf([&] { require(tessel::AppHealthValidator::validate(text).ok); }));
    } else {
        fmt::print("{}\n", timeOf([&] {
                       require(!tessel::AppHealthValidator::decode(text).checks.empty());
                   }));
    }
    return EXIT_SUCCESS;
}

} // namespace

int main(int count, char** arguments) {
    try {
        const std::string_view mode = count > 1 ? arguments[1] : "";
        if ((mode == "write" && count == 4) ||
            ((mode == "validate" || mode == "decode") && count == 3)) {
            return run(mode, arguments + 2);
        }
        fmt::print(stderr, "usage: bench_health write small|large FILE | validate|decode FILE\n");
    } catch (const std::exception& error) {
        fmt::print(stderr, "bench_health: {}\n", error.what());
    }
    return EXIT_FAILURE;
}
