#include "ostrad/Artwork.h"

#include "tests/ostrad/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace ostrad {
namespace {

namespace fs = std::filesystem;
using test::TempFolder;

class ArtworkTest : public testing::Test {
  protected:
    // Stands for ffmpeg: writes its arguments where the picture goes, the last argument.
    std::string recorder() {
        return temp.writeProgram("tool",
                                 "for last; do :; done; printf '%s\\n' \"$@\" > \"${last#file:}\"");
    }

    TempFolder temp;
    std::atomic<bool> stop = false;
};

TEST_F(ArtworkTest, makesAFolderForTheUserAlone) {
    const Artwork artwork(temp.path("deep/art"), "");
    struct stat status{};
    ASSERT_EQ(::stat(temp.path("deep/art").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700U);
    EXPECT_FALSE(artwork.canDraw());
}

TEST_F(ArtworkTest, refusesAPlaceThatIsNoFolder) {
    temp.write("file");
    EXPECT_THROW(Artwork(temp.path("file"), ""), std::exception);
}

TEST_F(ArtworkTest, prefersTheCoverBesideTheFile) {
    const Artwork artwork(temp.path("art"), recorder());
    temp.write("lib/A/song.mp3");
    temp.write("lib/A/cover.jpg");
    const auto name =
        artwork.draw({.entityId = 7, .libraryPath = temp.path("lib"), .path = "A/song.mp3"}, stop);
    ASSERT_TRUE(name);
    EXPECT_TRUE(Artwork::isPictureName(*name));
    EXPECT_TRUE(name->starts_with("7-"));
    EXPECT_NE(test::readFile(temp.path("art/" + *name)).find("A/cover.jpg"), std::string::npos);
}

TEST_F(ArtworkTest, ignoresACoverThatIsALink) {
    const Artwork artwork(temp.path("art"), recorder());
    temp.write("lib/A/song.mp3");
    temp.write("private.jpg");
    fs::create_symlink(temp.path("private.jpg"), temp.path("lib/A/cover.jpg"));
    const auto name =
        artwork.draw({.entityId = 7, .libraryPath = temp.path("lib"), .path = "A/song.mp3"}, stop);
    ASSERT_TRUE(name);
    EXPECT_EQ(test::readFile(temp.path("art/" + *name)).find("cover.jpg"), std::string::npos);
}

TEST_F(ArtworkTest, takesAVideoFrameFromATenthOfItsLength) {
    const Artwork artwork(temp.path("art"), recorder());
    temp.write("lib/film.mkv");
    const auto name = artwork.draw({.entityId = 7,
                                    .libraryPath = temp.path("lib"),
                                    .path = "film.mkv",
                                    .durationMs = 60'000,
                                    .isVideo = true},
                                   stop);
    ASSERT_TRUE(name);
    EXPECT_NE(test::readFile(temp.path("art/" + *name)).find("-ss\n6.000\n"), std::string::npos);
}

TEST_F(ArtworkTest, leavesNothingBehindWhenTheToolFails) {
    const Artwork artwork(temp.path("art"),
                          temp.writeProgram("tool", "for last; do :; done; : > \"${last#file:}\""));
    temp.write("lib/film.mkv");
    EXPECT_FALSE(
        artwork.draw({.entityId = 7, .libraryPath = temp.path("lib"), .path = "film.mkv"}, stop));
    EXPECT_TRUE(fs::is_empty(temp.path("art")));
}

TEST_F(ArtworkTest, sweepsOnlyItsOwnUnusedPictures) {
    const Artwork artwork(temp.path("art"), "");
    temp.write("art/1-2.jpg");
    temp.write("art/3-4.jpg");
    temp.write("art/holiday.jpg");
    artwork.sweep([](const std::string& name) { return name == "1-2.jpg"; });
    EXPECT_TRUE(fs::exists(temp.path("art/1-2.jpg")));
    EXPECT_FALSE(fs::exists(temp.path("art/3-4.jpg")));
    EXPECT_TRUE(fs::exists(temp.path("art/holiday.jpg")));
}

TEST(PictureName, isTwoNumbers) {
    EXPECT_TRUE(Artwork::isPictureName("12-34.jpg"));
    for (const char* name : {"", ".jpg", "-.jpg", "1-.jpg", "-2.jpg", "../1-2.jpg", "1-2.png",
                             "1-2.jpg/", "a-2.jpg", "1-2-3.jpg", "1-2.jpg.jpg"}) {
        EXPECT_FALSE(Artwork::isPictureName(name)) << name;
    }
}

} // namespace
} // namespace ostrad
