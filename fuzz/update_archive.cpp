// An update's archive, unpacked. Nothing may appear beside the folder it is unpacked into.
#include "platform/appcast/Staging.h"
#include "platform/appcast/Unpack.h"

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iterator>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace platform::appcast;
    char name[] = "/tmp/fuzz-archive-XXXXXX";
    if (::mkdtemp(name) == nullptr) {
        std::abort();
    }
    const std::filesystem::path root = name;
    std::filesystem::create_directory(root / "new");
    {
        const auto file = makeNamelessFile(root);
        if (!file || ::write(file->get(), data, size) != static_cast<ssize_t>(size)) {
            std::abort();
        }
        static_cast<void>(
            unpack(file->get(), root / "new", {.totalBytes = 1 << 20, .entries = 50}));
    }
    const auto count = std::distance(std::filesystem::directory_iterator(root), {});
    std::filesystem::remove_all(root);
    if (count != 1) {
        std::abort();
    }
    return 0;
}
