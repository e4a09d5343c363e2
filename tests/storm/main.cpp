// The real application in a storm: killed at random moments with servers of several kinds, started
// beside a stranger who steals its port, flooded with output, and started where everything is short
// or odd. Nothing may be left after eight seconds, no stranger may be asked for more than its
// health, and every start must end in service or in a sentence: never in a signal or a hang. Says
// what it saw, and exits with 1 when something was wrong. The parts are independent: several of
// them may run side by side, each in a process of its own.
// Usage: storm [short | KILLS [SEED [PART...]]]   KILLS of each kind, twice as many starts
#include "tests/storm/Storm.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <span>
#include <string>

namespace storm {
namespace {

std::vector<Part> allParts() {
    std::vector<Part> all;
    for (const auto* parts : {&kills(), &strangers(), &output(), &hardships(), &incidents()}) {
        all.insert(all.end(), parts->begin(), parts->end());
    }
    return all;
}

int usage() {
    fmt::print(stderr, "usage: storm [short | KILLS [SEED [PART...]]]\nparts:");
    for (const Part& part : allParts()) {
        fmt::print(stderr, " {}", part.name);
    }
    fmt::print(stderr, "\n");
    return 2;
}

int run(Scale scale, unsigned seed, std::span<char*> names) {
    const auto parts = allParts();
    for (const char* name : names) {
        if (std::ranges::find(parts, name, &Part::name) == parts.end()) {
            return usage();
        }
    }
    fmt::print("a storm of {} kills of each kind, seed {}\n", scale.kills, seed);
    std::fflush(stdout);
    Storm storm(scale, seed);
    for (const Part& part : parts) {
        if (names.empty() || std::ranges::find(names, part.name) != names.end()) {
            part.run(storm);
        }
    }
    return storm.faults() == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace
} // namespace storm

int main(int argc, char** argv) {
    const std::span<char*> arguments(argv + 1, static_cast<std::size_t>(argc - 1));
    storm::Scale scale;
    if (!arguments.empty() && std::string_view(arguments[0]) == "short") {
        scale = {.kills = 1, .isShort = true};
    } else if (!arguments.empty()) {
        scale.kills = std::atoi(arguments[0]);
    }
    if (scale.kills < 1) {
        return storm::usage();
    }
    const unsigned seed = arguments.size() > 1
                              ? static_cast<unsigned>(std::strtoul(arguments[1], nullptr, 10))
                              : std::random_device{}();
    try {
        return storm::run(scale, seed,
                          arguments.subspan(std::min<std::size_t>(2, arguments.size())));
    } catch (const std::exception& error) {
        fmt::print(stderr, "storm: {}\n", error.what());
        return EXIT_FAILURE;
    }
}
