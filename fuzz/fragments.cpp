// A fragmented MP4 in pieces of the size that the first byte says.
#include "ostrad/Fragments.h"

#include "fuzz/Fuzzing.h"

#include <algorithm>
#include <string>

using fuzzing::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::size_t piece = data[0] + std::size_t{1};
    const auto text = fuzzing::textOf(data + 1, size - 1);
    std::size_t starts = 0;
    std::size_t given = 0;
    ostrad::Fragments fragments(
        [&](const std::string& bytes) {
            ++starts;
            given += bytes.size();
        },
        [&](const std::string& bytes) {
            require(starts == 1, "the start comes first, and once");
            for (const std::uint32_t track : {0U, 1U, 2U}) {
                require(ostrad::fragmentTime(bytes, track).value_or(0) > -(std::int64_t{1} << 32U),
                        "nothing is shown long before the beginning");
            }
            given += bytes.size();
        });
    for (std::size_t at = 0; at < text.size(); at += piece) {
        if (!fragments.append(text.substr(at, piece))) {
            require(!fragments.append("more"), "what is broken stays broken");
            break;
        }
    }
    require(given <= text.size(), "nothing is given that was not there");
    return 0;
}
