// Text read eight bytes at a time, as one whole number whose lowest byte is the first one. A
// question about each of the bytes is answered by marks: the high bits of those it is true of.
// Pure functions; any thread. Nothing here looks beyond the bytes it is given.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tessel::eightBytes {

static_assert(std::endian::native == std::endian::little);

[[nodiscard]] constexpr std::uint64_t repeat(unsigned byte) {
    return std::uint64_t{0x0101010101010101U} * byte;
}

constexpr std::uint64_t everyMark = repeat(0x80);

[[nodiscard]] inline std::uint64_t load(const char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

// How many bytes come before the lowest mark; 8 without any.
[[nodiscard]] inline std::size_t bytesBefore(std::uint64_t marks) {
    return static_cast<std::size_t>(std::countr_zero(marks)) / 8;
}

// Marks the bytes that take a closer look in a string of a JSON text: quotation marks, backslashes,
// control characters and what is not ASCII. The lowest mark is right; higher ones may be wrong.
[[nodiscard]] constexpr std::uint64_t specialBytes(std::uint64_t word) {
    const std::uint64_t control = word - repeat(0x20);
    const std::uint64_t quotation = (word ^ repeat('"')) - repeat(1);
    const std::uint64_t backslash = (word ^ repeat('\\')) - repeat(1);
    return (control | quotation | backslash | word) & everyMark;
}

// Marks the bytes from `first` to `last`; all eight must be ASCII.
[[nodiscard]] constexpr std::uint64_t bytesBetween(std::uint64_t word, unsigned first,
                                                   unsigned last) {
    return (word + repeat(0x80U - first)) & ~(word + repeat(0x7FU - last)) & everyMark;
}

// The bytes from `start` on, eight at most, with zeros behind the last one. Of a text of eight or
// more bytes, with `start` in it.
[[nodiscard]] inline std::uint64_t loadFrom(std::string_view text, std::size_t start) {
    const std::size_t rest = text.size() - start;
    return rest >= 8 ? load(text.data() + start)
                     : load(text.data() + text.size() - 8) >> (64 - 8 * rest);
}

} // namespace tessel::eightBytes
