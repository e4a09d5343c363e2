// A hostile file in the place of each file that a health store reads.
#include "fuzz/Fuzzing.h"
#include "mac/Tessel/Health/AppHealthStore.h"
#include "mac/Tessel/Health/AppHealthValidator.h"
#include "platform/testing/InMemoryDurableFiles.h"
#include "platform/testing/InMemorySystem.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(fuzzing::textOf(data, size));
    platform::testing::InMemoryDurableFiles files;
    platform::testing::FakeRandomSource random;
    tessel::AppHealthStore store("/health", files, random, 1, 1);
    for (const auto* name :
         {"latest.json", "state.json", "history/20261121000000000-0123456789abcdef.json",
          "pending/20261121000000000-0123456789abcdef.json"}) {
        files.nodes[std::filesystem::path("/health") / name] = {.content = text};
    }
    const auto latest = store.latestReport();
    fuzzing::require(latest.has_value() == tessel::AppHealthValidator::validate(text).ok,
                     "a report is read exactly when it is valid");
    fuzzing::require(store.historyReports().size() == (latest ? 1 : 0), "so is the history");
    if (latest) {
        fuzzing::require(store.findReport(latest->app, latest->version, latest->build) == latest,
                         "a report is found by its build");
        const auto key = store.record(*latest);
        fuzzing::require(store.latestReport() == latest, "a report is recorded as it was read");
        fuzzing::require(store.historyEntries().at(0).file.stem() == key ||
                             key < "20261121000000000-0123456789abcdef",
                         "the newest of two remains");
    }
    const auto state = store.loadState();
    store.saveState(state);
    const auto again = store.loadState();
    fuzzing::require(again.lastVersionBuild == state.lastVersionBuild &&
                         again.lastRunAt.has_value() == state.lastRunAt.has_value(),
                     "a state is saved as it was read");
    return 0;
}
