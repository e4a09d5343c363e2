// A Range header and the size of what it is about: eight bytes, then the header.
#include "fuzz/Fuzzing.h"
#include "ostrad/ByteRange.h"

#include <cstring>

using fuzzing::require;
using Kind = ostrad::ByteRange::Kind;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::uint64_t fileSize = 0;
    if (size < sizeof fileSize) {
        return 0;
    }
    std::memcpy(&fileSize, data, sizeof fileSize);
    const auto header = fuzzing::textOf(data + sizeof fileSize, size - sizeof fileSize);
    const auto range = ostrad::parseRange(header, fileSize);
    if (range.kind == Kind::slice) {
        require(range.length > 0, "a slice has bytes");
        require(range.first < fileSize && range.length <= fileSize - range.first,
                "a slice lies within the file");
    }
    return 0;
}
