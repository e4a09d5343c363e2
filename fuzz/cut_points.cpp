// What ffprobe says about places in a film: how long it is in the first line, then the places.
#include "fuzz/Fuzzing.h"
#include "ostrad/CutPoints.h"

#include <cstdlib>
#include <string>

using fuzzing::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto text = fuzzing::textOf(data, size);
    const std::int64_t length = std::atoi(std::string(fuzzing::takeLine(text)).c_str());
    const auto cuts = ostrad::parseCutPoints(text, length);
    require(cuts.empty() || cuts.front() == 0, "the first part begins with the film");
    for (std::size_t index = 0; index < cuts.size(); ++index) {
        const std::int64_t end = index + 1 < cuts.size() ? cuts[index + 1] : length;
        require(index == 0 || end > cuts[index], "parts follow each other");
        require(end - cuts[index] <= ostrad::kLongestCutMs, "no part is too long");
    }
    return 0;
}
