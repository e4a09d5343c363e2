#include "mac/Tessel/Json/StrictJson.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using tessel::StrictJson;
using testing::ElementsAre;

bool isJson(std::string_view text) {
    return StrictJson::parse(text).has_value();
}

// The one string a document consists of.
std::string stringOf(std::string_view text) {
    const auto tree = StrictJson::parse(text);
    return tree ? std::string(tree->root().string().value_or("(no string)")) : "(no JSON)";
}

double numberOf(std::string_view text) {
    const auto tree = StrictJson::parse(text);
    return tree ? tree->root().number().value_or(-1234) : -4321;
}

std::vector<std::string> keysOf(StrictJson::Value object) {
    std::vector<std::string> keys;
    for (const auto member : object.members()) {
        keys.emplace_back(member.key);
    }
    return keys;
}

TEST(StrictJson, readsEveryKindOfValue) {
    const auto tree =
        StrictJson::parse(R"( { "z" : [ null , true , false , 1.5 , "text" , { } , [ ] ] } )");
    ASSERT_TRUE(tree);
    EXPECT_TRUE(tree->root().isObject());
    EXPECT_EQ(tree->root().size(), 1U);
    const auto list = tree->root().find("z");
    ASSERT_TRUE(list && list->isArray());
    EXPECT_EQ(list->size(), 7U);
    std::vector<StrictJson::Kind> kinds;
    for (const auto element : list->elements()) {
        kinds.push_back(element.kind());
    }
    using enum StrictJson::Kind;
    EXPECT_THAT(kinds, ElementsAre(null, boolean, boolean, number, string, object, array));
}

TEST(StrictJson, keepsTheOrderOfTheDocument) {
    const auto tree = StrictJson::parse(R"({"b":1,"a":{"y":[1,2,{"q":3}],"x":2},"":3,"B":4})");
    ASSERT_TRUE(tree);
    EXPECT_THAT(keysOf(tree->root()), ElementsAre("b", "a", "", "B"));
    EXPECT_THAT(keysOf(*tree->root().find("a")), ElementsAre("y", "x"));
    EXPECT_EQ(tree->root().find("B")->number(), 4);
    EXPECT_EQ(tree->root().find("c"), std::nullopt);
}

TEST(StrictJson, tellsBooleansFromNumbers) {
    const auto tree = StrictJson::parse("[true,1]");
    ASSERT_TRUE(tree);
    std::vector<std::pair<bool, bool>> seen;
    for (const auto element : tree->root().elements()) {
        seen.emplace_back(element.boolean().has_value(), element.number().has_value());
    }
    EXPECT_THAT(seen, ElementsAre(std::pair(true, false), std::pair(false, true)));
}

TEST(StrictJson, answersNothingToTheWrongQuestion) {
    const auto tree = StrictJson::parse("7");
    ASSERT_TRUE(tree);
    const auto seven = tree->root();
    EXPECT_EQ(seven.string(), std::nullopt);
    EXPECT_EQ(seven.boolean(), std::nullopt);
    EXPECT_EQ(seven.find("x"), std::nullopt);
    EXPECT_EQ(seven.size(), 0U);
    EXPECT_EQ(seven.elements().begin(), seven.elements().end());
    EXPECT_EQ(seven.members().begin(), seven.members().end());
}

TEST(StrictJson, survivesBeingMoved) {
    const std::string text = R"({"a":"b\n"})";
    auto tree = StrictJson::parse(text);
    ASSERT_TRUE(tree);
    const auto root = tree->root();
    const StrictJson moved = std::move(*tree);
    EXPECT_EQ(root.find("a")->string(), "b\n");
    EXPECT_EQ(moved.root().find("a")->string(), "b\n");
}

TEST(StrictJson, decodesEscapes) {
    EXPECT_EQ(stringOf(R"("\"\\\/\b\f\n\r\t")"), "\"\\/\b\f\n\r\t");
    EXPECT_EQ(stringOf(R"("a\u0041\u00e9\u20AC\ud83D\uDE00z")"), "aA\u00e9\u20ac\U0001F600z");
    EXPECT_EQ(stringOf(R"("\u0000")"), std::string(1, '\0'));
    EXPECT_EQ(stringOf(R"("\uffff\ud7ff\ue000\udbff\udfff")"), "\uffff\ud7ff\ue000\U0010FFFF");
    EXPECT_EQ(stringOf("\"plain \u00fc\x7f\""), "plain \u00fc\x7f");
}

TEST(StrictJson, keepsSeveralEscapedStringsApart) {
    const auto tree = StrictJson::parse(R"({"\u0061":"\n","b":"\t\t","\u0063c":"plain"})");
    ASSERT_TRUE(tree);
    EXPECT_THAT(keysOf(tree->root()), ElementsAre("a", "b", "cc"));
    EXPECT_EQ(tree->root().find("a")->string(), "\n");
    EXPECT_EQ(tree->root().find("b")->string(), "\t\t");
}

TEST(StrictJson, findsSpecialCharactersAtEveryPlaceOfAString) {
    for (std::size_t at = 0; at < 40; ++at) {
        std::string text(40, 'x');
        text[at] = '\x1f';
        EXPECT_FALSE(isJson('"' + text + '"')) << at;
        text[at] = '"';
        EXPECT_FALSE(isJson('"' + text + '"')) << at;
        text[at] = '\x80';
        EXPECT_FALSE(isJson('"' + text + '"')) << at;
        const auto escaped = text.substr(0, at) + "\\n" + text.substr(at + 1);
        auto expected = text;
        expected[at] = '\n';
        EXPECT_EQ(stringOf('"' + escaped + '"'), expected);
    }
}

TEST(StrictJson, readsNumbers) {
    EXPECT_EQ(numberOf("0"), 0);
    EXPECT_EQ(numberOf("-1"), -1);
    EXPECT_EQ(numberOf("1.0"), 1);
    EXPECT_EQ(numberOf("1e0"), 1);
    EXPECT_EQ(numberOf("10E-1"), 1);
    EXPECT_EQ(numberOf("123.25e+2"), 12325);
    EXPECT_EQ(numberOf("1e-400"), 0);
    EXPECT_EQ(numberOf("9007199254740993"), 9007199254740992.0);
    EXPECT_EQ(numberOf("18446744073709551616"), 18446744073709551616.0);
    EXPECT_TRUE(std::signbit(numberOf("-0")));
    EXPECT_TRUE(std::signbit(numberOf("-0.0")));
    EXPECT_EQ(numberOf("1.7976931348623157e308"), 1.7976931348623157e308);
    EXPECT_EQ(numberOf("5e-324"), 5e-324);
}

TEST(StrictJson, refusesWhatIsNoJson) {
    for (const std::string_view text : {
             "",
             " ",
             "{",
             "}",
             "[",
             "]",
             "[1",
             "[1,",
             "[1,]",
             "[,1]",
             "[1 2]",
             "[1]]",
             "{\"a\"}",
             "{\"a\":}",
             "{\"a\":1,}",
             "{,}",
             "{a:1}",
             "{1:1}",
             "{'a':1}",
             "{\"a\" 1}",
             "{\"a\":1 \"b\":2}",
             "{\"a\":1]",
             "[1}",
             "nul",
             "nulll",
             "True",
             "tru",
             "falsy",
             "undefined",
             "NaN",
             "Infinity",
             "-Infinity",
             "inf",
             "nan",
             "-",
             "+1",
             "01",
             "-01",
             "00",
             ".5",
             "5.",
             "1.e1",
             "1e",
             "1e+",
             "1e1.5",
             "0x10",
             "1_000",
             "--1",
             "1e400",
             "-1e400",
             "[1e309]",
             "1.8e308",
             "\"",
             "\"a",
             "\"a\\",
             "\"a\\\"",
             "\"\\x41\"",
             "\"\\u\"",
             "\"\\u12\"",
             "\"\\u12g4\"",
             "\"\\u 123\"",
             "\"\\u-123\"",
             "\"\\U0041\"",
             "\"\t\"",
             "\"\n\"",
             "'a'",
             "1 2",
             "{} {}",
             "{}x",
             "null,",
             "// comment\n1",
             "/**/1",
             "1 # comment",
             "\f1",
             "\v1",
             "\u00a01",
         }) {
        EXPECT_FALSE(isJson(text)) << text;
    }
}

TEST(StrictJson, refusesByteOrderMarksAndOtherEncodings) {
    EXPECT_FALSE(isJson("\xef\xbb\xbf{}"));
    EXPECT_FALSE(isJson("{}\xef\xbb\xbf"));
    EXPECT_FALSE(isJson(std::string_view("\xff\xfe{\0}\0", 6)));
    EXPECT_FALSE(isJson(std::string_view("{\0}\0", 4)));
    EXPECT_FALSE(isJson(std::string_view("{}\0", 3)));
}

TEST(StrictJson, refusesWhatIsNotUtf8WhereverItIs) {
    for (const std::string_view bad : {"\x80", "\xc0\xaf", "\xc3", "\xe0\x80\xaf", "\xed\xa0\x80",
                                       "\xf4\x90\x80\x80", "\xf8\x88\x80\x80\x80", "\xff"}) {
        EXPECT_FALSE(isJson(fmt::format("\"{}\"", bad)));
        EXPECT_FALSE(isJson(fmt::format("{{\"{}\":1}}", bad)));
        EXPECT_FALSE(isJson(fmt::format("[1]{}", bad)));
        EXPECT_FALSE(isJson(fmt::format("\"\\n{}\"", bad)));
    }
}

TEST(StrictJson, refusesLoneSurrogates) {
    for (const std::string_view text :
         {R"("\ud800")", R"("\udc00")", R"("\ud800\ud800")", R"("\ud800x")", R"("\ud800\n")",
          R"("\ud800\u0041")", R"("\udc00\ud800")", R"({"\ud800":1})", R"("\ud83d\ude0")"}) {
        EXPECT_FALSE(isJson(text)) << text;
    }
}

TEST(StrictJson, refusesEqualKeysInOneObject) {
    EXPECT_FALSE(isJson(R"({"a":1,"a":1})"));
    EXPECT_FALSE(isJson(R"({"a":1,"b":2,"\u0061":3})"));
    EXPECT_FALSE(isJson(R"([{"x":{"":1,"y":2,"":3}}])"));
    EXPECT_TRUE(isJson(R"({"a":{"a":{"a":1}},"b":{"a":1}})"));
    EXPECT_TRUE(isJson(R"({"a":1,"A":1,"a ":1})"));
}

TEST(StrictJson, findsTheOneEqualKeyAmongMany) {
    for (const std::size_t count : {2U, 9U, 63U, 64U, 65U, 66U, 1000U}) {
        for (const std::size_t repeated : {std::size_t{0}, (count - 1) / 2, count - 2}) {
            std::string members;
            for (std::size_t index = 0; index + 1 < count; ++index) {
                members += fmt::format("\"a long common beginning {} end\":{},", index, index);
            }
            const auto different = fmt::format("{{{}\"a long\":0}}", members);
            EXPECT_TRUE(isJson(different)) << count;
            const auto equal =
                fmt::format("{{{}\"a long common beginning {} end\":0}}", members, repeated);
            EXPECT_FALSE(isJson(equal)) << count;
        }
    }
}

std::string nested(std::size_t levels, std::string_view open, std::string_view close) {
    std::string text;
    for (std::size_t level = 0; level < levels; ++level) {
        text += open;
    }
    text += "1";
    for (std::size_t level = 0; level < levels; ++level) {
        text += close;
    }
    return text;
}

TEST(StrictJson, refusesMoreThan64Levels) {
    EXPECT_TRUE(isJson(nested(64, "[", "]")));
    EXPECT_FALSE(isJson(nested(65, "[", "]")));
    EXPECT_TRUE(isJson(nested(64, "{\"a\":", "}")));
    EXPECT_FALSE(isJson(nested(65, "{\"a\":", "}")));
    EXPECT_FALSE(isJson(nested(100'000, "[", "]")));
    EXPECT_FALSE(isJson(nested(100'000, "{\"a\":", "}")));
    EXPECT_FALSE(isJson(std::string(50'000'000, '[')));
    EXPECT_TRUE(isJson("[" + nested(63, "[", "]") + "," + nested(63, "[", "]") + "]"));
}

TEST(StrictJson, reads50MegabytesOfOneString) {
    const std::string content(50'000'000, 'x');
    EXPECT_EQ(stringOf('"' + content + '"').size(), content.size());
    EXPECT_EQ(stringOf("\"\\n" + content + '"').size(), content.size() + 1);
    EXPECT_FALSE(isJson('"' + content));
}

TEST(StrictJson, readsMegabytesOfDigits) {
    EXPECT_FALSE(isJson(std::string(2'000'000, '9')));
    EXPECT_EQ(numberOf("0." + std::string(2'000'000, '0') + "1"), 0);
    EXPECT_EQ(numberOf("0." + std::string(2'000'000, '0') + "1e2000001"), 1);
    EXPECT_EQ(numberOf("1" + std::string(2'000'000, '0') + "e-2000000"), 1);
    EXPECT_EQ(numberOf("1e-" + std::string(2'000'000, '9')), 0);
}

TEST(StrictJson, readsALargeObjectOfKeysWithALongCommonBeginning) {
    std::string text = "{";
    const std::string common(500, 'k');
    for (int index = 0; index < 4'000; ++index) {
        text += fmt::format("\"{}{}\":0,", common, index);
    }
    EXPECT_TRUE(isJson(text + "\"last\":0}"));
    EXPECT_FALSE(isJson(text + fmt::format("\"{}{}\":0}}", common, 2'000)));
}

TEST(StrictJson, readsManySmallValues) {
    std::string text = "[0";
    for (int index = 0; index < 300'000; ++index) {
        text += ",0";
    }
    const auto tree = StrictJson::parse(text += "]");
    ASSERT_TRUE(tree);
    EXPECT_EQ(tree->root().size(), 300'001U);
}

TEST(StrictJson, neverReadsBeyondTheText) {
    const std::string whole = R"({"a":[true,false,null,-1.5e+3,"x\u00e9\ud83d\ude00"],"b":{}})";
    ASSERT_TRUE(isJson(whole));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        // On the heap, exactly as long: the address sanitizer sees one byte too many.
        const std::vector<char> part(whole.begin(),
                                     whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(isJson({part.data(), part.size()})) << length;
    }
}

TEST(StrictJson, takesAnySpaceBetweenMembers) {
    for (std::size_t length = 0; length <= 20; ++length) {
        const std::string space(length, ' ');
        const auto text = fmt::format(
            "{{{0}\"a\":1,{0}\"b\":2,{0}\"c\":3,{0} \"d\":4,{0}\t\"e\":5,\n{0}\"f\":6,{0}\"g\":7}}",
            space);
        const auto tree = StrictJson::parse(text);
        ASSERT_TRUE(tree) << length;
        EXPECT_THAT(keysOf(tree->root()), ElementsAre("a", "b", "c", "d", "e", "f", "g"));
    }
}

TEST(StrictJson, refusesAnythingElseBetweenMembersWhereverItIs) {
    for (std::size_t length = 1; length <= 20; ++length) {
        const std::string space(length, ' ');
        for (std::size_t at = 0; at < length; ++at) {
            for (const char wrong : {'x', '\f', '\0', ',', '\xa0'}) {
                auto other = space;
                other[at] = wrong;
                const auto text = fmt::format("{{{0}\"a\":1,{0}\"b\":2,{1}\"c\":3}}", space, other);
                EXPECT_FALSE(isJson(text)) << text;
            }
        }
    }
}

TEST(StrictJson, readsCharactersOfAnyLengthAtEveryPlaceOfAString) {
    for (const std::string_view character : {"\u00e9", "\u20ac", "\U0001F600"}) {
        for (std::size_t at = 0; at < 24; ++at) {
            const auto text = std::string(at, 'x') + std::string(character) + "yz";
            EXPECT_EQ(stringOf('"' + text + '"'), text);
            EXPECT_EQ(stringOf("\"\\n" + text + "\\t" + text + '"'), '\n' + text + '\t' + text);
            const auto broken = std::string(at, 'x') + std::string(character.substr(1)) + "yz";
            EXPECT_FALSE(isJson('"' + broken + '"')) << broken;
            EXPECT_FALSE(isJson("\"\\n" + broken + '"')) << broken;
        }
    }
}

bool isSorted(std::string_view text) {
    const auto tree = StrictJson::parse(text);
    return tree && tree->root().isSorted();
}

TEST(StrictJson, knowsWhichObjectsAreSorted) {
    EXPECT_TRUE(isSorted(R"({"a":{"b":1,"a":1},"b":1,"ba":1,"long key 1":1,"long key 2":1})"));
    EXPECT_TRUE(isSorted(R"({"a long beginning, 1":1,"a long beginning, 10":1,"a\u007f":1})"));
    EXPECT_FALSE(isSorted(R"({"b":1,"a":1})"));
    EXPECT_FALSE(isSorted(R"({"long key 2":1,"long key 1":1})"));
    EXPECT_FALSE(isSorted(R"({"long key 10":1,"long key 1":1})"));
    EXPECT_FALSE(isSorted(R"({"a":1,"b":1,"":1})"));
    EXPECT_FALSE(isSorted("{\"plain key\":1,\"\u00fcmlaut key\":1,\"other key\":1}"));
    EXPECT_FALSE(isSorted("[1,2]"));
}

TEST(StrictJson, neverCallsAnObjectSortedThatIsNot) {
    std::mt19937 random(5);
    for (int round = 0; round < 20'000; ++round) {
        std::vector<std::string> keys(2);
        for (auto& key : keys) {
            key = std::string(random() % 20, 'a');
            for (char& character : key) {
                character = random() % 8 == 0 ? static_cast<char>('a' + random() % 3) : character;
            }
        }
        const auto text = fmt::format(R"({{"{}":1,"{}":2}})", keys[0], keys[1]);
        const auto tree = StrictJson::parse(text);
        ASSERT_EQ(tree.has_value(), keys[0] != keys[1]) << text;
        ASSERT_TRUE(!tree || !tree->root().isSorted() || keys[0] < keys[1]) << text;
    }
}

} // namespace
