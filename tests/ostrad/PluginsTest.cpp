#include "ostrad/Plugins.h"

#include "tests/ostrad/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

namespace ostrad {
namespace {

using test::TempFolder;

constexpr const char* describesFilms =
    R"(if [ "$1" = describe ]; then
  echo '{"plugin":1,"name":"N","version":"2","types":["movies.movie"]}'; exit; fi
)";

class PluginsTest : public testing::Test {
  protected:
    void program(const std::string& name, const std::string& metadata) {
        temp.writeProgram("plugins/" + name, describesFilms + metadata);
    }
    Plugins plugins() { return Plugins(temp.path("plugins"), stop); }
    PluginFacts ask(Plugins& which, std::string_view type = "movies.movie") {
        return which.ask({.type = type,
                          .title = "A \"Film\"",
                          .number = std::nullopt,
                          .year = 1999,
                          .libraryPath = "/films",
                          .path = "a\xff.mkv"},
                         stop);
    }

    TempFolder temp;
    std::atomic<bool> stop = false;
};

TEST_F(PluginsTest, tellThemTheItemAndTakeWhatTheyKnow) {
    program("one", "read -r item; printf '%s' \"$item\" > '" + temp.path("asked") +
                       "'; printf '%s' "
                       R"('{"title":"Better","year":2001,"summary":"  What\nhappens.  "}')");
    Plugins used = plugins();
    const PluginFacts facts = ask(used);
    EXPECT_EQ(facts.title, "Better");
    EXPECT_EQ(facts.year, 2001);
    EXPECT_EQ(facts.number, std::nullopt);
    EXPECT_EQ(facts.summary, "What happens.");
    EXPECT_EQ(test::readFile(temp.path("asked")),
              "{\"plugin\":1,\"type\":\"movies.movie\",\"title\":\"A \\\"Film\\\"\","
              "\"libraryPath\":\"/films\",\"path\":\"a\xef\xbf\xbd.mkv\",\"year\":1999}");
}

TEST_F(PluginsTest, areAskedAboutTheirTypesOnly) {
    program("one", "echo '{\"title\":\"Better\"}'");
    Plugins used = plugins();
    EXPECT_EQ(ask(used, "tv.episode").title, std::nullopt);
}

TEST_F(PluginsTest, theFirstThatKnowsIsBelieved) {
    program("1", "echo '{\"year\":2001}'");
    program("2", "echo '{\"year\":2002,\"title\":\"Two\"}'");
    Plugins used = plugins();
    EXPECT_EQ(ask(used).year, 2001);
    EXPECT_EQ(ask(used).title, "Two");
    EXPECT_EQ(used.identity(), temp.path("plugins/1") + " 2;" + temp.path("plugins/2") + " 2;");
}

TEST_F(PluginsTest, thatDoNotDescribeThemselvesAreNotUsed) {
    temp.writeProgram("plugins/no-json", "echo hello");
    temp.writeProgram("plugins/no-types",
                      R"(echo '{"plugin":1,"name":"N","types":["movies.unknown"]}')");
    temp.writeProgram("plugins/other",
                      R"(echo '{"plugin":2,"name":"N","types":["movies.movie"]}')");
    temp.writeProgram("plugins/.hidden", describesFilms);
    temp.write("plugins/readme.txt", "no program");
    EXPECT_TRUE(plugins().empty());
    EXPECT_TRUE(Plugins(temp.path("missing"), stop).empty());
    EXPECT_TRUE(Plugins("", stop).empty());
}

TEST_F(PluginsTest, thatOthersCouldHaveWrittenAreNotUsed) {
    program("one", "");
    ASSERT_FALSE(plugins().empty());
    ::chmod(temp.path("plugins/one").c_str(), 0775);
    EXPECT_TRUE(plugins().empty());
    ::chmod(temp.path("plugins/one").c_str(), 0755);
    std::filesystem::rename(temp.path("plugins/one"), temp.path("elsewhere"));
    std::filesystem::create_symlink(temp.path("elsewhere"), temp.path("plugins/one"));
    EXPECT_TRUE(plugins().empty()) << "a link";
    std::filesystem::remove(temp.path("plugins/one"));
    std::filesystem::rename(temp.path("elsewhere"), temp.path("plugins/one"));
    ::chmod(temp.path("plugins").c_str(), 0777);
    EXPECT_TRUE(plugins().empty()) << "the folder";
}

TEST_F(PluginsTest, thatFailAgainAndAgainAreNotAskedAnyMore) {
    const std::string count = temp.path("count");
    program("one", "echo x >> '" + count + "'; exit 1");
    Plugins used = plugins();
    for (int time = 0; time < 8; ++time) {
        EXPECT_EQ(ask(used).title, std::nullopt);
    }
    EXPECT_EQ(test::readFile(count), "x\nx\nx\nx\nx\n");
}

TEST(PluginAnswers, areTakenMemberByMember) {
    const auto facts = parsePluginFacts(
        R"({"title":5,"summary":"\u0000 \u001b[1mx","number":-1,"year":10000,"more":{}})");
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->title, std::nullopt);
    EXPECT_EQ(facts->summary, "[1mx");
    EXPECT_EQ(facts->number, std::nullopt);
    EXPECT_EQ(facts->year, std::nullopt);
    EXPECT_EQ(parsePluginFacts(R"({"title":")" + std::string(9000, 'x') + "\"}")->title->size(),
              500U);
    EXPECT_FALSE(parsePluginFacts("[]"));
    EXPECT_FALSE(parsePluginFacts(""));
    EXPECT_FALSE(parsePluginDescription(R"({"plugin":1,"name":" ","types":["movies.movie"]})"));
    EXPECT_FALSE(parsePluginDescription(R"({"plugin":1,"name":"N","types":[]})"));
}

} // namespace
} // namespace ostrad
