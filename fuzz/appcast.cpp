// The list of updates, as a server sends it.
#include "platform/appcast/Appcast.h"

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
        if (item.version.empty() || item.length == 0 || item.length > largestArchive ||
            !item.url.starts_with("https://")) {
            std::abort();
        }
    }
    return 0;
}
