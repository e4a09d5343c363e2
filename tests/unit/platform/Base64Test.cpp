#include "platform/Base64.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace platform {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

TEST(Base64, readsWholeGroupsAndPaddedOnes) {
    EXPECT_THAT(decodeBase64("Zm9v"), Optional(ElementsAre('f', 'o', 'o')));
    EXPECT_THAT(decodeBase64("Zm9vYg=="), Optional(ElementsAre('f', 'o', 'o', 'b')));
    EXPECT_THAT(decodeBase64("Zm9vYmE="), Optional(ElementsAre('f', 'o', 'o', 'b', 'a')));
    EXPECT_THAT(decodeBase64("+/+/"), Optional(ElementsAre(0xFB, 0xFF, 0xBF)));
    EXPECT_THAT(decodeBase64(""), Optional(IsEmpty()));
}

TEST(Base64, ignoresBitsThatBelongToNoByte) {
    EXPECT_THAT(decodeBase64("Zh=="), Optional(ElementsAre('f')));
}

TEST(Base64, refusesEverythingElse) {
    for (const char* text : {"Zg", "Zg=", "Z===", "====", "Zm9v\n", "Zm9v Zm9v", "Zm=v", "Zg==Zm9v",
                             "-_-_", "Zm9vYg==\r\n", "Z\xC3\xA4==", "Zm9vA", "=m9v"}) {
        EXPECT_EQ(decodeBase64(text), std::nullopt) << text;
    }
    EXPECT_EQ(decodeBase64(std::string_view("Zm9\0", 4)), std::nullopt);
}

} // namespace
} // namespace platform
