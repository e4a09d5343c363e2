#pragma once

#include <cstdint>
#include <string_view>

namespace ostrad {

// What a Range header (RFC 9110, 14.2) asks of a representation of known size. Only one range is
// served; several ranges, another unit and anything malformed mean the whole, as the RFC allows.
struct ByteRange {
    enum class Kind { whole, slice, unsatisfiable };

    Kind kind = Kind::whole;
    std::uint64_t first = 0; // of a slice
    std::uint64_t length = 0;

    bool operator==(const ByteRange&) const = default;
};

ByteRange parseRange(std::string_view header, std::uint64_t size);

} // namespace ostrad
