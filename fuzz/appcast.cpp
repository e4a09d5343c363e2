// The list of updates, as a server sends it.
#include "platform/appcast/Appcast.h"

#include "platform/appcast/VersionOrder.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace platform::appcast;
    const auto items = parseAppcast({reinterpret_cast<const char*>(data), size});
    if (!items) {
        return 0;
    }
    for (const auto& item : *items) {
        const bool hasArchive = item.length != 0 && item.url.starts_with("https://");
        const bool mayBeWithout = item.informational != VersionCondition();
        if (item.version.empty() || item.length > largestArchive ||
            (!hasArchive && !mayBeWithout)) {
            std::abort();
        }
        const Installation older{.version = "1",
                                 .system = {.names = {item.system}, .version = "6"},
                                 .now = 1'800'000'000,
                                 .rolloutGroup = 3};
        if (newestItem({item}, {.version = item.version, .system = older.system}) ||
            (newestItem({item}, older) && !isReadableVersion(item.version))) {
            std::abort();
        }
    }
    return 0;
}
