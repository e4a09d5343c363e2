// What is spliced into a script is, to the engine, the text that was put in.
#include "mac/Tessel/WebApp/WebAppScripts.h"
#include "platform/Utf8.h"
#include "tests/support/javascript/ScriptEngine.h"
#include "tests/unit/Tessel/SampleWebApp.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <random>

namespace tessel {
namespace {

void appendUtf8(std::string& text, char32_t scalar) {
    const auto byte = [&](char32_t bits) { text += static_cast<char>(bits); };
    if (scalar < 0x80) {
        byte(scalar);
        return;
    }
    if (scalar < 0x800) {
        byte(0xC0 | (scalar >> 6));
    } else {
        if (scalar < 0x10000) {
            byte(0xE0 | (scalar >> 12));
        } else {
            byte(0xF0 | (scalar >> 18));
            byte(0x80 | ((scalar >> 12) & 0x3F));
        }
        byte(0x80 | ((scalar >> 6) & 0x3F));
    }
    byte(0x80 | (scalar & 0x3F));
}

bool isScalar(char32_t value) {
    return value < 0xD800 || (value > 0xDFFF && value <= 0x10FFFF);
}

class SplicedText : public testing::Test {
  protected:
    std::string thrownBy(const std::string& script) {
        const auto value = engine.evaluate(script);
        return value ? "nothing" : value.error();
    }

    test_support::ScriptEngine engine;
};

TEST_F(SplicedText, isItselfForEveryCharacterThatEndsNoLine) {
    constexpr char32_t block = 256;
    for (char32_t first = 0; first <= 0x10FFFF; first += block) {
        std::string text;
        for (char32_t scalar = first; scalar < first + block; ++scalar) {
            if (isScalar(scalar) && scalar != U'\n' && scalar != U'\r') {
                appendUtf8(text, scalar);
            }
        }
        ASSERT_TRUE(platform::isValidUtf8(text));
        ASSERT_EQ(engine.evaluate(quotedForScript(text)), text)
            << fmt::format("from U+{:04X}", static_cast<unsigned>(first));
    }
}

// Of what has a meaning in literals, in comments and in markup.
TEST_F(SplicedText, isItselfForTextsOfHostileCharacters) {
    constexpr std::u32string_view alphabet = U"\\\"'`${}/*<!->uxn0\u2028\u2029 ;\t\0@";
    std::mt19937 random(20240229);
    std::uniform_int_distribution<std::size_t> letter(0, alphabet.size() - 1);
    std::uniform_int_distribution<int> length(0, 40);
    for (int round = 0; round < 5000; ++round) {
        std::string text;
        for (int left = length(random); left > 0; --left) {
            appendUtf8(text, alphabet[letter(random)]);
        }
        ASSERT_EQ(engine.evaluate(quotedForScript(text)), text) << quotedForScript(text);
    }
}

TEST_F(SplicedText, isNoLiteralWithALineEnd) {
    for (const char* const text : {"\n", "\r", "a\r\nb", "\\\n", "\\\\\n\\"}) {
        EXPECT_EQ(thrownBy(quotedForScript(text)), "SyntaxError");
    }
}

TEST_F(SplicedText, isWhatThePageSeesAsTheDevicesName) {
    WebAppConfig config = sampleWebApp();
    config.deviceName = R"(Ann's 12" \ "; window.__inApp = "no)";
    (void)engine.evaluate("var window = globalThis, location = {hostname: 'app.example.com'};");
    ASSERT_TRUE(engine.evaluate(bootstrapScript(config)));
    EXPECT_EQ(engine.evaluate("window.__device"), config.deviceName);
    EXPECT_EQ(engine.evaluate("window.__inApp === true"), "true");
}

} // namespace
} // namespace tessel
