// Boxes as ISO/IEC 14496-12 has them, for tests: a size, a type and what is in it.
#pragma once

#include <cstdint>
#include <string>

namespace ostrad::test {

// 32 bits, the most significant byte first.
[[nodiscard]] inline std::string word(std::size_t value) {
    std::string bytes;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        bytes += static_cast<char>(value >> shift & 0xffU);
    }
    return bytes;
}

[[nodiscard]] inline std::string box(const std::string& type, const std::string& content) {
    return word(content.size() + 8) + type + content;
}

} // namespace ostrad::test
