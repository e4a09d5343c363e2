// Files made to harm whoever reads them, in the libraries of the real server with the real tools.
#include "tests/ostrad/OstradFixture.h"

#include <filesystem>

namespace ostrad::test {
namespace {

namespace fs = std::filesystem;

class HostileMedia : public OstradTest {
  protected:
    void SetUp() override {
        start({"-ffmpeg", findTool("ffmpeg"), "-ffprobe", findTool("ffprobe"), "-fpcalc",
               findTool("fpcalc")});
    }
    // An MP4 whose only tag is as long as that, in a file that is almost all hole.
    void makeTitleOfAGigabyte(const std::string& path) const {
        const std::size_t size = 1'000'000'000;
        const auto box = [](std::size_t length, const std::string& type) {
            std::string bytes;
            for (const int shift : {24, 16, 8, 0}) {
                bytes += static_cast<char>(length >> static_cast<unsigned>(shift));
            }
            return bytes + type;
        };
        const std::string text = box(size, "data") + std::string("\0\0\0\1\0\0\0\0", 8);
        const std::string name = box(size + 8, "\xa9nam") + text;
        const std::string handler =
            box(33, "hdlr") + std::string(8, '\0') + "mdirappl" + std::string(9, '\0');
        const std::string meta =
            box(size + 61, "meta") + std::string(4, '\0') + handler + box(size + 16, "ilst") + name;
        const std::string moov = box(size + 77, "moov") + box(size + 69, "udta") + meta;
        temp.write(fs::relative(path, temp.path()).string(),
                   box(16, "ftyp") + "M4A " + std::string(4, '\0') + moov);
        fs::resize_file(path, size + 200);
    }
    void make(const std::vector<std::string>& words) {
        std::vector<std::string> all{"-v", "error", "-y"};
        all.insert(all.end(), words.begin(), words.end());
        const Finished made = runToEnd(findTool("ffmpeg"), all);
        ASSERT_EQ(made.status, 0) << made.output;
    }
};

TEST_F(HostileMedia, neitherStopsTheScanNorHidesWhatIsGood) {
    temp.makeFolder("music/A/B");
    const std::string good = temp.path("music/A/B/01 - Good.flac");
    make({"-f", "lavfi", "-i", "sine=frequency=300:duration=2", good});
    const std::string bytes = readFile(good);
    temp.write("music/A/B/02 - Cut.flac", bytes.substr(0, bytes.size() / 3));
    temp.write("music/A/B/03 - Empty.mp3", "");
    temp.write("music/A/B/04 - Noise.ogg", "OggS" + std::string(50'000, '\xff'));
    // A tag as large as the format can say, of a file that is almost all hole.
    temp.write("music/A/B/05 - Tags.mp3", std::string("ID3\x04\x00\x00\x7f\x7f\x7f\x7f", 10) +
                                              std::string("TIT2\x7f\x7f\x7f\x00\x00\x00\x03", 11));
    fs::resize_file(temp.path("music/A/B/05 - Tags.mp3"), 268'435'455);
    std::vector<std::string> many{"-f", "lavfi", "-i", "sine=duration=0.1:sample_rate=8000"};
    for (int stream = 0; stream < 1000; ++stream) {
        many.insert(many.end(), {"-map", "0:a"});
    }
    many.insert(many.end(),
                {"-c:a", "pcm_s16le", "-f", "matroska", temp.path("music/A/B/06 - Streams.m4a")});
    make(many);
    makeTitleOfAGigabyte(temp.path("music/A/B/07 - Gigabyte.m4a"));
    temp.write("title", ";FFMETADATA1\ntitle=" + std::string(3'000'000, 't') + "\n");
    make({"-i", good, "-i", temp.path("title"), "-map_metadata", "1", "-c", "copy",
          temp.path("music/A/B/08 - Title.flac")});
    ASSERT_EQ(addLibrary("music", temp.path("music")).status, 201);
    ASSERT_TRUE(eventually(
        [this] { return json("/api/libraries").at(0).as_object().contains("scannedAt"); }));
    for (int patience = 0; patience < 10 && !scanned(); ++patience) {
    }
    const auto tracks = json("/api/entities?type=music.track");
    ASSERT_EQ(tracks.as_array().size(), 8U);
    EXPECT_EQ(tracks.at(0).at("durationMs"), 2000);
    const auto streams =
        json("/api/entities/" + std::to_string(tracks.at(5).at("id").as_int64()) + "/tracks");
    EXPECT_LE(streams.at("audio").as_array().size(), 64U);
    EXPECT_EQ(get("/api/health").status, 200);
}

TEST_F(HostileMedia, leadsToNoOtherFile) {
    temp.makeFolder("films");
    const std::string film = temp.path("secret.mp4");
    make({"-f", "lavfi", "-i", "color=red:size=64x36:rate=5:duration=5", film});
    temp.write("secret.srt", "1\n00:00:01,000 --> 00:00:02,000\nSecret\n");
    const std::string hls = "#EXTM3U\n#EXT-X-TARGETDURATION:5\n#EXTINF:5,\n";
    temp.write("films/hls.mp4", hls + film + "\n#EXT-X-ENDLIST\n");
    temp.write("films/relative.mp4", hls + "../secret.mp4\n#EXT-X-ENDLIST\n");
    temp.write("films/web.mp4",
               hls + "http://127.0.0.1:" + std::to_string(port) + "/api/health\n#EXT-X-ENDLIST\n");
    temp.write("films/concat.mkv", "ffconcat version 1.0\nfile ../secret.mp4\n");
    temp.write("films/dash.mkv", "<?xml version=\"1.0\"?><MPD xmlns=\"urn:mpeg:dash:schema:mpd:"
                                 "2011\"><BaseURL>file:" +
                                     film + "</BaseURL></MPD>");
    temp.write("films/reference.mov",
               "rtsptext\r\nrtsp://127.0.0.1:" + std::to_string(port) + "/\r\n");
    temp.write("films/list.en.srt", "ffconcat version 1.0\nfile ../secret.srt\n");
    fs::copy_file(film, temp.path("films/list.mp4"));
    fs::create_symlink(temp.path("secret.srt"), temp.path("films/list.fr.srt"));
    ASSERT_EQ(addLibrary("movies", temp.path("films")).status, 201);
    ASSERT_TRUE(scanned());
    const auto films = json("/api/entities?type=movies.movie");
    ASSERT_EQ(films.as_array().size(), 7U);
    for (const auto& found : films.as_array()) {
        const std::string id = std::to_string(found.at("id").as_int64());
        if (found.at("title") == "list") { // the one that is a film
            EXPECT_EQ(found.at("durationMs"), 5000);
            for (const std::string track : {"f0", "f1"}) {
                EXPECT_EQ(get("/api/entities/" + id + "/subtitles?track=" + track).status, 404);
            }
            continue;
        }
        EXPECT_FALSE(found.as_object().contains("durationMs")) << found.at("title");
        EXPECT_FALSE(found.as_object().contains("artUrl")) << found.at("title");
        EXPECT_EQ(get("/api/entities/" + id + "/tracks").status, 422) << found.at("title");
    }
}

} // namespace
} // namespace ostrad::test
