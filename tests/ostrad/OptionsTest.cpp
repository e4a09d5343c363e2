#include "ostrad/Options.h"

#include <gtest/gtest.h>

namespace ostrad {
namespace {

std::expected<Options, std::string> parse(std::vector<std::string_view> arguments) {
    return parseOptions(arguments);
}

TEST(Options, takesAValueAsTheNextArgumentOrAfterAnEqualsSign) {
    const auto spaced = parse({"-db", "/d", "-addr", "127.0.0.1:81", "-ffmpeg", "/f"});
    const auto joined = parse({"-db=/d", "-addr=127.0.0.1:81", "-ffmpeg=/f"});
    ASSERT_TRUE(spaced && joined);
    EXPECT_EQ(spaced->databasePath, "/d");
    EXPECT_EQ(joined->databasePath, "/d");
    EXPECT_EQ(spaced->address, joined->address);
    EXPECT_EQ(joined->address, (ListenAddress{"127.0.0.1", 81}));
    EXPECT_EQ(spaced->ffmpegPath, "/f");
}

TEST(Options, takesEveryPathFlag) {
    const auto options =
        parse({"-db", "a", "-plugins", "b", "-ffmpeg", "c", "-ffprobe", "d", "-fpcalc", "e"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->pluginsPath, "b");
    EXPECT_EQ(options->ffmpegPath, "c");
    EXPECT_EQ(options->ffprobePath, "d");
    EXPECT_EQ(options->fpcalcPath, "e");
}

TEST(Options, keepsAnEqualsSignInsideAValue) {
    EXPECT_EQ(parse({"-db=/a=b"})->databasePath, "/a=b");
}

TEST(Options, asksForVersionAndHelpWithoutADatabase) {
    EXPECT_EQ(parse({"-version"})->action, Options::Action::printVersion);
    EXPECT_EQ(parse({"--version"})->action, Options::Action::printVersion);
    EXPECT_EQ(parse({"-help"})->action, Options::Action::printHelp);
    EXPECT_EQ(parse({"-h"})->action, Options::Action::printHelp);
}

TEST(Options, refusesWhatItDoesNotKnowWithASentence) {
    EXPECT_EQ(parse({"-db", "a", "-color"}).error(), "unknown flag \"-color\"");
    EXPECT_EQ(parse({"-db", "a", "film"}).error(), "unexpected argument \"film\"");
    EXPECT_EQ(parse({"-db", "a", "-"}).error(), "unexpected argument \"-\"");
    EXPECT_EQ(parse({"-db"}).error(), "flag -db needs a value");
    EXPECT_EQ(parse({"-db="}).error(), "flag -db needs a value");
    EXPECT_EQ(parse({"-version=1"}).error(), "unknown flag \"-version=1\"");
    EXPECT_EQ(parse({}).error(), "flag -db PATH is required: it names the database file");
}

TEST(ListenAddress, isLoopbackInItsThreeSpellings) {
    EXPECT_EQ(parseListenAddress("127.0.0.1:0"), (ListenAddress{"127.0.0.1", 0}));
    EXPECT_EQ(parseListenAddress("localhost:65535"), (ListenAddress{"127.0.0.1", 65535}));
    EXPECT_EQ(parseListenAddress("[::1]:8080"), (ListenAddress{"::1", 8080}));
}

class RefusedAddress : public testing::TestWithParam<const char*> {};

TEST_P(RefusedAddress, isNotServed) {
    EXPECT_FALSE(parseListenAddress(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(ListenAddress, RefusedAddress,
                         testing::Values("", ":", "0.0.0.0:80", "192.168.1.2:80", "[::]:80",
                                         "127.0.0.2:80", "example.com:80", ":80", "127.0.0.1",
                                         "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:-1",
                                         "127.0.0.1: 80", "127.0.0.1:80x", "::1:80"));

} // namespace
} // namespace ostrad
