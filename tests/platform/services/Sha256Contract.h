// What the system's SHA-256 must answer: the examples of FIPS 180-4 and their lengths around the
// ends of a block. Include it in one source file of an executable.
#pragma once

#include "platform/Sha256.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace sha256_contract {

inline std::string hexadecimal(const platform::Sha256Digest& digest) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const unsigned byte : digest) {
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text;
}

TEST(Sha256, answersTheStandardsExamples) {
    const auto digestOf = [](std::string_view text) { return hexadecimal(platform::sha256(text)); };
    EXPECT_EQ(digestOf(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(digestOf("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(digestOf("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(digestOf("abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjkl"
                       "mnopqklmnopqrlmnopqrsmnopqrstnopqrstu"),
              "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1");
    EXPECT_EQ(digestOf(std::string(1'000'000, 'a')),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256, readsEveryByteZeroesIncluded) {
    EXPECT_EQ(hexadecimal(platform::sha256(std::string_view("\0", 1))),
              "6e340b9cffb37a989ca544e6bb780a2c78901d3fb33738768511a30617afa01d");
    EXPECT_NE(platform::sha256(std::string(63, 'a')), platform::sha256(std::string(64, 'a')));
}

} // namespace sha256_contract
