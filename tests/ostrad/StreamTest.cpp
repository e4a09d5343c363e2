// Files that no browser plays, played: the real server with the real ffmpeg.
#include "tests/ostrad/StreamFixture.h"
#include "tests/support/processes/ProcessTable.h"

#include <gmock/gmock.h>

#include <csignal>
#include <string>
#include <thread>
#include <vector>

namespace ostrad::test {
namespace {

using testing::HasSubstr;

// The tools that process has started; what watches over them is none.
std::vector<pid_t> toolsOf(pid_t parent) {
    return process_test::childrenOf(parent, "ffmpeg");
}

struct Format {
    const char* name;
    const char* file;
    std::vector<std::string> options;
};

// Films whose pictures are brighter the later they are shown.
class AnyFormat : public StreamTest, public testing::WithParamInterface<Format> {
  protected:
    static constexpr int step = 4; // from each to the next

    void makeFilmThatCounts() {
        std::vector<std::string> options = GetParam().options;
        options.insert(options.end(),
                       {"-vf", "geq=lum=16+" + std::to_string(step) + "*N:cb=128:cr=128"});
        makeFilm(GetParam().file, 10, options);
    }
    // How bright the first picture is of a file that is read from its beginning, from a time on.
    double brightness(const std::string& path, const std::string& from = "0") {
        const std::string pixels =
            runToEnd(findTool("ffmpeg"),
                     {"-v", "error", "-nostdin", "-i", path, "-ss", from, "-map", "0:v",
                      "-frames:v", "1", "-vf", "extractplanes=y", "-f", "rawvideo", "-"})
                .output;
        EXPECT_EQ(pixels.size(), 64U * 36U);
        double sum = 0;
        for (const char pixel : pixels) {
            sum += static_cast<unsigned char>(pixel);
        }
        return sum / (64 * 36);
    }
};

TEST_P(AnyFormat, becomesPartsOfH264AndAac) {
    makeFilmThatCounts();
    const std::string id = addFilms();
    const auto stream = open(id);
    EXPECT_EQ(stream.at("parts"), 3);
    EXPECT_EQ(stream.at("mediaType"), "video/mp4; codecs=\"avc1.4d4028,mp4a.40.2\"");
    const RawReply second = part(stream, 1);
    ASSERT_EQ(second.status, 200) << second.body;
    const std::string seen = decode(init(stream) + second.body);
    // Its times are those of the film, to the frame of sound that an encoder begins with.
    EXPECT_THAT(seen, testing::AnyOf(HasSubstr("h264,4.0"), HasSubstr("h264,3.97")));
    EXPECT_THAT(seen, HasSubstr("aac,"));
    // Whoever goes there sees what is shown there, wherever the film has its key frames.
    temp.write("part.mp4", init(stream) + second.body);
    EXPECT_NEAR(brightness(temp.path("part.mp4")),
                brightness(temp.path("films/" + std::string(GetParam().file)), "4"), step / 2.0);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, AnyFormat,
    testing::Values(
        Format{"hevcAc3",
               "a.mkv",
               {"-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none", "-c:a",
                "ac3"}},
        Format{"av1Opus",
               "a.mkv",
               {"-c:v", "libaom-av1", "-cpu-used", "8", "-crf", "60", "-c:a", "libopus"}},
        Format{"vp9Flac",
               "a.mkv",
               {"-c:v", "libvpx-vp9", "-deadline", "realtime", "-cpu-used", "8", "-c:a", "flac"}},
        Format{"h264PcmMov",
               "a.mov",
               {"-c:v", "libx264", "-preset", "ultrafast", "-c:a", "pcm_s16le"}},
        Format{"hevcAc3Mov",
               "a.mov",
               {"-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none", "-c:a",
                "ac3"}},
        Format{"hevcDtsTs",
               "a.ts",
               {"-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none",
                "-strict", "-2", "-c:a", "dca"}},
        Format{
            "h264OpusTs", "a.ts", {"-c:v", "libx264", "-preset", "ultrafast", "-c:a", "libopus"}},
        Format{"mpeg4Mp3", "a.avi", {"-c:v", "mpeg4", "-c:a", "libmp3lame"}},
        Format{"h264Ac3Avi", "a.avi", {"-c:v", "libx264", "-preset", "ultrafast", "-c:a", "ac3"}},
        Format{"dtsInMkv", "a.mkv", {"-c:v", "mpeg4", "-strict", "-2", "-c:a", "dca"}},
        Format{"mpeg2Ts", "a.ts", {"-c:v", "mpeg2video", "-c:a", "mp2"}}),
    [](const auto& format) { return std::string(format.param.name); });

// A picture that stands for eight seconds, as in a film of slides.
TEST_F(StreamTest, hasEveryPartOfAFilmWithFewPictures) {
    makeFilm(
        "a.mkv", 20,
        {"-vf", "select=not(mod(n\\,40))", "-fps_mode", "vfr", "-c:v", "mpeg4", "-c:a", "ac3"});
    const auto stream = open(addFilms());
    EXPECT_EQ(stream.at("parts"), 5);
    const std::string head = init(stream);
    for (int number = 0; number < 5; ++number) {
        EXPECT_THAT(decode(head + part(stream, number).body),
                    HasSubstr("h264," + std::to_string(4 * number) + ".0"))
            << number;
    }
}

TEST_F(StreamTest, seeksAtOnceAndEndsWhereTheFilmEnds) {
    makeFilm("a.mkv", 120, {"-c:v", "mpeg4", "-c:a", "ac3"});
    const auto stream = open(addFilms());
    EXPECT_EQ(stream.at("parts"), 30);
    const std::string head = init(stream);
    EXPECT_THAT(decode(head + part(stream, 25).body), HasSubstr("h264,100.0"));
    EXPECT_THAT(decode(head + part(stream, 3).body), HasSubstr("h264,12.0"));
    EXPECT_EQ(part(stream, 29).status, 200);
    EXPECT_EQ(part(stream, 30).status, 404);
    const std::string list = get(std::string(stream.at("playlist").as_string())).body;
    EXPECT_THAT(list, testing::StartsWith("#EXTM3U\n"));
    EXPECT_THAT(list, HasSubstr("-29.m4s\n#EXT-X-ENDLIST"));
}

TEST_F(StreamTest, startsNoToolBeforeAPartIsWantedAndGoesOnOnlyALittle) {
    makeFilm("a.mkv", 120, {"-c:v", "mpeg4", "-c:a", "ac3"});
    const std::string id = addFilms();
    const auto stream = open(id);
    EXPECT_TRUE(toolsOf(server->pid()).empty());
    EXPECT_EQ(part(stream, 0).status, 200);
    // It would be through in a moment if it were let; a viewer that reads keeps it alive.
    for (int look = 0; look < 10; ++look) {
        EXPECT_EQ(part(stream, 0).status, 200);
        ASSERT_EQ(toolsOf(server->pid()).size(), 1U);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_EQ(
        exchange(port, "DELETE", "/api/streams/" + std::string(stream.at("id").as_string())).status,
        200);
    EXPECT_TRUE(eventually([this] { return toolsOf(server->pid()).empty(); }));
    EXPECT_EQ(part(stream, 1).status, 410);
}

TEST_F(StreamTest, endsTheToolOfAViewerThatStoppedReadingAndGoesOnLater) {
    makeFilm("a.mkv", 120, {"-c:v", "mpeg4", "-c:a", "ac3"});
    const auto stream = open(addFilms());
    EXPECT_EQ(part(stream, 0).status, 200);
    const auto stopped = std::chrono::steady_clock::now();
    ASSERT_TRUE(eventually([this] { return toolsOf(server->pid()).empty(); }));
    const auto rested = std::chrono::steady_clock::now() - stopped;
    EXPECT_GE(rested, std::chrono::seconds(4));
    EXPECT_LE(rested, std::chrono::seconds(10));
    EXPECT_EQ(part(stream, 7).status, 200);
}

TEST_F(StreamTest, endsTheToolsWithTheServerHoweverItEnds) {
    makeFilm("a.mkv", 120, {"-c:v", "mpeg4", "-c:a", "ac3"});
    const std::string id = addFilms();
    for (const int signal : {SIGTERM, SIGKILL}) {
        const auto stream = open(id);
        EXPECT_EQ(part(stream, 0).status, 200);
        const auto tools = toolsOf(server->pid());
        ASSERT_EQ(tools.size(), 1U);
        server->signal(signal);
        ASSERT_TRUE(server->wait());
        EXPECT_TRUE(eventually([&] { return process_test::isGone(tools.front()); }));
        SetUp();
    }
}

TEST_F(StreamTest, refusesMoreViewersThanTheComputerCanServe) {
    makeFilm("a.mkv", 120, {"-c:v", "mpeg4", "-c:a", "ac3"});
    const std::string id = addFilms();
    std::vector<boost::json::object> streams;
    const unsigned places = std::max(2U, std::thread::hardware_concurrency() / 2);
    for (unsigned viewer = 0; viewer < places; ++viewer) {
        streams.push_back(open(id));
        EXPECT_EQ(part(streams.back(), 0).status, 200);
        // Those before go on reading.
        for (const auto& stream : streams) {
            EXPECT_EQ(part(stream, 0).status, 200);
        }
    }
    const auto late = open(id);
    const RawReply refused = part(late, 0);
    EXPECT_EQ(refused.status, 503);
    EXPECT_NE(refused.header("retry-after"), "");
    exchange(port, "DELETE", "/api/streams/" + std::string(streams[0].at("id").as_string()));
    EXPECT_EQ(part(late, 0).status, 200);
}

TEST_F(StreamTest, offersAudioTracksSubtitlesAndChapters) {
    temp.write("a.srt", "1\n00:00:01,000 --> 00:00:02,000\nInside\n");
    temp.write("meta.txt",
               ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=5000\ntitle=One\n"
               "[CHAPTER]\nTIMEBASE=1/1000\nSTART=5000\nEND=10000\ntitle=Two\n");
    makeFilm("a.mkv", 10,
             {"-f",
              "srt",
              "-i",
              temp.path("a.srt"),
              "-i",
              temp.path("meta.txt"),
              "-map",
              "0:v",
              "-map",
              "1:a",
              "-map",
              "1:a",
              "-map",
              "2:s",
              "-map_metadata",
              "3",
              "-c:v",
              "mpeg4",
              "-c:a",
              "ac3",
              "-filter:a:1",
              "volume=0",
              "-c:s",
              "ass",
              "-metadata:s:a:1",
              "language=fra"});
    temp.write("films/a.en.srt", "1\n00:00:03,000 --> 00:00:04,000\nBeside <b>it</b>\n");
    temp.write("films/a.vtt", "WEBVTT\n\n00:01.000 --> 00:02.000\nPlain\n");
    temp.write("films/a.zz.ass",
               "[Script Info]\nScriptType: v4.00+\n\n[Events]\nFormat: Layer, Start, End, Style, "
               "Name, MarginL, MarginR, MarginV, Effect, Text\n"
               "Dialogue: 0,0:00:05.00,0:00:06.00,Default,,0,0,0,,Styled\n");
    temp.write("films/another.srt", "1\n00:00:03,000 --> 00:00:04,000\nNot ours\n");
    const std::string id = addFilms();
    const auto tracks = json("/api/entities/" + id + "/tracks");
    ASSERT_EQ(tracks.at("audio").as_array().size(), 2U);
    EXPECT_EQ(tracks.at("audio").at(1).at("language"), "fra");
    ASSERT_EQ(tracks.at("chapters").as_array().size(), 2U);
    EXPECT_EQ(tracks.at("chapters").at(1).at("title"), "Two");
    EXPECT_EQ(tracks.at("chapters").at(1).at("startMs"), 5000);
    const auto& subtitles = tracks.at("subtitles").as_array();
    ASSERT_EQ(subtitles.size(), 4U) << boost::json::serialize(tracks);
    EXPECT_EQ(subtitles.at(1).at("language"), "en");
    const auto text = [&](int index) {
        return get(
            "/api/entities/" + id + "/subtitles?track=" +
            std::string(subtitles.at(static_cast<std::size_t>(index)).at("track").as_string()));
    };
    EXPECT_THAT(text(0).body, testing::AllOf(testing::StartsWith("WEBVTT"), HasSubstr("Inside")));
    EXPECT_EQ(text(0).header("content-type"), "text/vtt; charset=utf-8");
    EXPECT_THAT(text(1).body, HasSubstr("Beside <b>it</b>"));
    EXPECT_THAT(text(2).body, HasSubstr("Plain"));
    EXPECT_THAT(text(3).body, HasSubstr("Styled"));
    EXPECT_EQ(get("/api/entities/" + id + "/subtitles?track=f7").status, 404);
    EXPECT_EQ(get("/api/entities/" + id + "/subtitles?track=x").status, 404);
    const auto second = open(id, R"({"audio":1})");
    EXPECT_LT(loudness(init(second) + part(second, 0).body), -80) << "the silent one";
    const auto first = open(id);
    EXPECT_GT(loudness(init(first) + part(first, 0).body), -40);
    EXPECT_EQ(postJson(port, "/api/entities/" + id + "/stream", R"({"audio":2})").status, 400);
}

TEST_F(StreamTest, playsSoundWithoutPicturesWithoutDrift) {
    temp.makeFolder("films");
    ASSERT_EQ(runToEnd(findTool("ffmpeg"), {"-v", "error", "-f", "lavfi", "-i",
                                            "sine=frequency=440:sample_rate=44100:duration=100",
                                            "-c:a", "flac", temp.path("films/a.flac")})
                  .status,
              0);
    EXPECT_EQ(addLibrary("music", temp.path("films")).status, 201);
    ASSERT_TRUE(scanned());
    const auto stream = open(firstId("music.track"));
    EXPECT_EQ(stream.at("mediaType"), "audio/mp4; codecs=\"mp4a.40.2\"");
    const std::string head = init(stream);
    // One part after the other from the start, then one after a seek: the same times.
    for (int number = 0; number < 20; ++number) {
        ASSERT_EQ(part(stream, number).status, 200) << number;
    }
    const std::string played = decode(head + part(stream, 19).body);
    EXPECT_THAT(played, HasSubstr("aac,77.8"));
    part(stream, 0);
    EXPECT_THAT(decode(head + part(stream, 19).body), HasSubstr("aac,77.8"));
}

TEST_F(StreamTest, readsNothingBesideTheFileItself) {
    // A play list by another name, and a film that is none.
    temp.write("secret.srt", "1\n00:00:01,000 --> 00:00:02,000\nSecret\n");
    temp.write("films/list.mkv", "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10,\nfile:" +
                                     temp.path("secret.srt") + "\n#EXT-X-ENDLIST\n");
    temp.write("films/concat.mkv", "ffconcat version 1.0\nfile ../secret.srt\n");
    temp.write("films/broken.mkv", std::string("\x1a\x45\xdf\xa3", 4) + std::string(5000, 'x'));
    EXPECT_EQ(addLibrary("movies", temp.path("films")).status, 201);
    ASSERT_TRUE(scanned());
    const boost::json::value films = json("/api/entities?type=movies.movie");
    ASSERT_EQ(films.as_array().size(), 3U);
    for (const auto& film : films.as_array()) {
        const std::string id = std::to_string(film.at("id").as_int64());
        EXPECT_EQ(get("/api/entities/" + id + "/tracks").status, 422) << film.at("title");
        EXPECT_EQ(postJson(port, "/api/entities/" + id + "/stream", "{}").status, 422);
        EXPECT_EQ(get("/api/entities/" + id + "/subtitles?track=s0").status, 404);
    }
}

} // namespace
} // namespace ostrad::test
