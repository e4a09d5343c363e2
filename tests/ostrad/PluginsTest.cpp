#include "ostrad/Plugins.h"

#include "tests/ostrad/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
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

TEST_F(PluginsTest, thatTakeTooLongAreGivenUp) {
    program("slow", "exec sleep 600");
    Plugins used = plugins();
    ASSERT_FALSE(used.empty());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(used).title, std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST_F(PluginsTest, thatAnswerWithoutEndAreGivenUp) {
    program("endless", "printf '{\"title\":\"'; exec cat /dev/zero");
    Plugins used = plugins();
    EXPECT_EQ(ask(used).title, std::nullopt);
    const std::string words = R"({"title":"Long","more":")";
    temp.write("answer", words + std::string(70'000, 'x') + "\"}");
    program("endless", "exec cat '" + temp.path("answer") + "'");
    EXPECT_EQ(ask(used).title, std::nullopt);
    temp.write("answer", words + std::string(50'000, 'x') + "\"}");
    EXPECT_EQ(ask(used).title, "Long") << "the test itself";
}

#ifdef __linux__
TEST_F(PluginsTest, haveNoNetworkAndLittleMemory) {
    // bash opens a socket for this name.
    const auto use = [this](const std::string& what) {
        const std::string script = "#!/bin/bash\n" + std::string(describesFilms) + "if " + what +
                                   "; then echo '{\"title\":\"Got it\"}'; else echo "
                                   "'{\"title\":\"Refused\"}'; fi";
        std::filesystem::permissions(temp.write("plugins/one", script),
                                     std::filesystem::perms::owner_all);
        Plugins used = plugins();
        return ask(used).title.value_or("failed");
    };
    EXPECT_EQ(use("{ : 3<>/dev/udp/127.0.0.1/9; } 2>/dev/null"), "Refused");
    EXPECT_EQ(use("[ $(ulimit -d) -le 524288 ]"), "failed") << "that starts a program";
    EXPECT_EQ(use("ulimit -S -d 524288"), "Got it") << "the limit is not lower";
    EXPECT_EQ(use("ulimit -S -d 524289 2>/dev/null"), "Refused") << "nor higher";
}
#endif

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
