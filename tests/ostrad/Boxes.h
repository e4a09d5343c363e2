// Boxes as ISO/IEC 14496-12 has them, for tests: a size, a type and what is in it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

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

// Such a number of that many bytes; 0 where it is not there.
[[nodiscard]] inline std::uint64_t numberAt(std::string_view bytes, std::size_t at,
                                            std::size_t size = 4) {
    std::uint64_t value = 0;
    for (const char byte : bytes.size() < at + size ? "" : bytes.substr(at, size)) {
        value = value << 8U | static_cast<unsigned char>(byte);
    }
    return value;
}

// What is in each box of that type directly in these bytes.
[[nodiscard]] inline std::vector<std::string_view> boxesIn(std::string_view bytes,
                                                           std::string_view type) {
    std::vector<std::string_view> found;
    for (std::size_t size = 0; bytes.size() >= 8; bytes.remove_prefix(size)) {
        size = numberAt(bytes, 0);
        if (size < 8 || size > bytes.size()) {
            break;
        }
        if (bytes.substr(4, 4) == type) {
            found.push_back(bytes.substr(8, size - 8));
        }
    }
    return found;
}

} // namespace ostrad::test
