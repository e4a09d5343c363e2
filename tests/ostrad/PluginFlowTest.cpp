// The example plug-in and the real fpcalc, used by the real server.
#include "tests/ostrad/OstradFixture.h"

#include <filesystem>

namespace ostrad::test {
namespace {

namespace fs = std::filesystem;

class PluginFlow : public OstradTest {
  protected:
    void SetUp() override {
        start(
            {"-plugins", folder(), "-ffprobe", findTool("ffprobe"), "-fpcalc", findTool("fpcalc")});
    }
    // A folder of the test's own: the checkout may belong to somebody else.
    [[nodiscard]] std::string folder() const {
        const std::string plugins = temp.makeFolder("plugins");
        fs::permissions(plugins, fs::perms::owner_all);
        fs::copy_file(fs::path(OSTRAD_EXAMPLE_PLUGINS) / "nfo", plugins + "/nfo",
                      fs::copy_options::overwrite_existing);
        fs::permissions(plugins + "/nfo", fs::perms::owner_all);
        return plugins;
    }
    [[nodiscard]] boost::json::object only(const std::string& type) const {
        const auto found = json("/api/entities?type=" + type);
        EXPECT_EQ(found.as_array().size(), 1U) << boost::json::serialize(found);
        return found.as_array().at(0).as_object();
    }
    // Sound that no other number makes.
    void makeSound(const std::string& file, int number, const std::string& title) const {
        const std::string wave = "aevalsrc=sin((300+40*mod(floor(t*" + std::to_string(number) +
                                 ")*7\\,11))*2*PI*t):d=20:s=22050";
        ASSERT_EQ(
            runToEnd(findTool("ffmpeg"), {"-v", "error", "-f", "lavfi", "-i", wave, "-metadata",
                                          "title=" + title, "-c:a", "flac", file})
                .status,
            0);
    }
};

TEST_F(PluginFlow, readsWhatStandsBesideAFilm) {
    temp.write("films/A Film (1999).mkv");
    temp.write("films/A Film (1999).nfo",
               "<?xml version=\"1.0\"?>\n<movie><title>The Film</title><year>1998</year>"
               "<plot>Somebody &amp; somebody else.</plot></movie>");
    ASSERT_EQ(addLibrary("movies", temp.path("films")).status, 201);
    ASSERT_TRUE(scanned());
    const auto film = only("movies.movie");
    EXPECT_EQ(film.at("title"), "The Film");
    EXPECT_EQ(film.at("year"), 1998);
    EXPECT_EQ(film.at("summary"), "Somebody & somebody else.");
}

TEST_F(PluginFlow, believesNoFileThatNamesOthers) {
    temp.write("films/A Film (1999).mkv");
    temp.write("secret", "Secret");
    temp.write("films/A Film (1999).nfo",
               "<?xml version=\"1.0\"?>\n<!DOCTYPE movie [<!ENTITY x SYSTEM \"file://" +
                   temp.path("secret") + "\">]><movie><title>&x;</title></movie>");
    ASSERT_EQ(addLibrary("movies", temp.path("films")).status, 201);
    ASSERT_TRUE(scanned());
    EXPECT_EQ(only("movies.movie").at("title"), "A Film");
}

TEST_F(PluginFlow, knowsASongAgainThatGotOtherTagsAndAnotherName) {
    temp.makeFolder("music/A/B");
    makeSound(temp.path("music/A/B/01 - One.flac"), 3, "One");
    ASSERT_EQ(addLibrary("music", temp.path("music")).status, 201);
    ASSERT_TRUE(scanned());
    const auto before = only("music.track");
    fs::remove_all(temp.path("music/A"));
    temp.makeFolder("music/C");
    makeSound(temp.path("music/C/01 - Uno.flac"), 3, "A title of another length");
    postJson(port, "/api/libraries/1/scan", "{}");
    ASSERT_TRUE(scanned());
    const auto after = only("music.track");
    EXPECT_EQ(after.at("id"), before.at("id"));
    EXPECT_EQ(after.at("title"), "A title of another length");

    fs::remove_all(temp.path("music/C"));
    temp.makeFolder("music/D");
    makeSound(temp.path("music/D/01 - Due.flac"), 5, "A title of another length");
    postJson(port, "/api/libraries/1/scan", "{}");
    ASSERT_TRUE(scanned());
    EXPECT_NE(only("music.track").at("id"), before.at("id")) << "another song";
}

} // namespace
} // namespace ostrad::test
