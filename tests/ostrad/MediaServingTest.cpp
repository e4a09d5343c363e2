#include "tests/ostrad/OstradFixture.h"

#include <unistd.h>

#include <cstdlib>

namespace ostrad::test {
namespace {

std::string findProgram(const std::string& name) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "/usr/bin" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (::access((folder + "/" + name).c_str(), X_OK) == 0) {
            return folder + "/" + name;
        }
    }
    return {};
}

class MediaServing : public OstradTest {
  protected:
    // Called once; the content is easy to recognise at any offset.
    std::string addFilm() {
        for (int i = 0; content.size() < 1'000'000; ++i) {
            content += std::to_string(i) + ',';
        }
        temp.write("films/A.webm", content);
        addLibrary("movies", temp.path("films"));
        EXPECT_TRUE(scanned());
        return "/media/" + firstId("movies.movie");
    }

    std::string content;
};

TEST_F(MediaServing, sendsAFileWholeAndInParts) {
    const std::string target = addFilm();
    const RawReply whole = get(target);
    EXPECT_EQ(whole.status, 200);
    EXPECT_EQ(whole.header("accept-ranges"), "bytes");
    EXPECT_EQ(whole.header("content-type"), "video/webm");
    EXPECT_EQ(whole.body, content);

    const RawReply part = get(target, "Range: bytes=500000-500099\r\n");
    EXPECT_EQ(part.status, 206);
    EXPECT_EQ(part.body, content.substr(500'000, 100));
    EXPECT_EQ(part.header("content-range"),
              "bytes 500000-500099/" + std::to_string(content.size()));
    EXPECT_EQ(get(target, "Range: bytes=-7\r\n").body, content.substr(content.size() - 7));
    EXPECT_EQ(get(target, "Range: bytes=999990-\r\n").body, content.substr(999'990));
    EXPECT_EQ(get(target, "Range: bytes=0-1,5-6\r\n").body, content);

    const RawReply beyond = get(target, "Range: bytes=99999999-\r\n");
    EXPECT_EQ(beyond.status, 416);
    EXPECT_EQ(beyond.header("content-range"), "bytes */" + std::to_string(content.size()));
}

TEST_F(MediaServing, answersHeadLikeGetWithoutTheBody) {
    const std::string target = addFilm();
    const RawReply head = exchange(port, "HEAD", target);
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.header("content-length"), std::to_string(content.size()));
    EXPECT_EQ(exchange(port, "HEAD", target, "Range: bytes=0-9\r\n").header("content-length"),
              "10");
}

TEST_F(MediaServing, servesNothingThroughALinkPlantedLater) {
    const std::string target = addFilm();
    temp.write("outside/A.webm", "secret");
    temp.remove("films");
    std::filesystem::create_directory_symlink(temp.path("outside"), temp.path("films"));
    EXPECT_EQ(get(target).status, 404);
}

TEST_F(MediaServing, readsAndPicturesRealMedia) {
    const std::string ffmpeg = findProgram("ffmpeg");
    const std::string ffprobe = findProgram("ffprobe");
    ASSERT_FALSE(ffmpeg.empty() || ffprobe.empty()) << "the packages list names ffmpeg";
    temp.makeFolder("films");
    temp.makeFolder("music/x");
    ASSERT_EQ(runToEnd(ffmpeg,
                       {"-v", "error", "-nostdin", "-f", "lavfi", "-i", "testsrc2=s=64x36:r=5:d=2",
                        "-c:v", "mpeg4", temp.path("films/Test (2020).mkv")})
                  .status,
              0);
    ASSERT_EQ(runToEnd(ffmpeg, {"-v",
                                "error",
                                "-nostdin",
                                "-f",
                                "lavfi",
                                "-i",
                                "sine=d=3",
                                "-f",
                                "lavfi",
                                "-i",
                                "color=s=64x64:r=1:d=1",
                                "-map",
                                "0:a",
                                "-map",
                                "1:v",
                                "-c:v",
                                "mjpeg",
                                "-disposition:v",
                                "attached_pic",
                                "-metadata",
                                "title=Harbour",
                                "-metadata",
                                "artist=Q",
                                "-c:a",
                                "flac",
                                temp.path("music/x/1.flac")})
                  .status,
              0);
    start({"-ffmpeg", ffmpeg, "-ffprobe", ffprobe});
    addLibrary("movies", temp.path("films"));
    addLibrary("music", temp.path("music"));
    ASSERT_TRUE(scanned());
    for (const auto& [type, ms] : {std::pair{"movies.movie", 2000}, {"music.track", 3000}}) {
        const auto item = json(std::string("/api/entities?type=") + type).at(0);
        EXPECT_NEAR(static_cast<double>(item.at("durationMs").as_int64()), ms, 300) << type;
        const RawReply picture = get(item.at("artUrl").as_string().c_str());
        EXPECT_EQ(picture.status, 200) << type;
        EXPECT_TRUE(picture.body.starts_with("\xFF\xD8\xFF")) << type;
    }
    EXPECT_EQ(json("/api/entities?type=music.track").at(0).at("title").as_string(), "Harbour");
}

} // namespace
} // namespace ostrad::test
