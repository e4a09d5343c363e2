// Films whose pictures or sound a browser plays, and which are not encoded anew for it.
#include "tests/ostrad/Boxes.h"
#include "tests/ostrad/StreamFixture.h"
#include "tests/support/processes/ProcessTable.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>
#include <sstream>
#include <thread>

namespace ostrad::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::vector<std::string> h264{"-c:v",    "libx264", "-preset", "veryfast", "-pix_fmt",
                                    "yuv420p", "-bf",     "2",       "-g",       "15"};
const std::vector<std::string> aac{"-c:a", "aac"};

std::vector<std::string> operator+(std::vector<std::string> first,
                                   const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class CopiedStreamTest : public StreamTest {
  protected:
    // As a client asks that plays everything that may be copied.
    boost::json::object openForAll(const std::string& id) {
        const boost::json::value tracks = json("/api/entities/" + id + "/tracks");
        boost::json::array plays{tracks.at("copyType")};
        for (const auto& track : tracks.at("audio").as_array()) {
            plays.push_back(track.at("copyType"));
        }
        return open(id, boost::json::serialize(boost::json::object{{"plays", plays}}));
    }
    static std::set<std::string> copied(const boost::json::object& stream) {
        std::set<std::string> kinds;
        for (const auto& kind : stream.at("copied").as_array()) {
            kinds.insert(std::string(kind.as_string()));
        }
        return kinds;
    }
    // The whole stream, its parts asked for in that order and put together in theirs.
    std::string whole(const boost::json::object& stream, std::int64_t firstAsked = 0) {
        const std::int64_t parts = stream.at("parts").as_int64();
        std::vector<std::string> pieces(static_cast<std::size_t>(parts));
        for (std::int64_t number = 0; number < parts; ++number) {
            const std::int64_t asked = (firstAsked + number) % parts;
            const RawReply reply = part(stream, static_cast<int>(asked));
            EXPECT_EQ(reply.status, 200) << asked;
            pieces[static_cast<std::size_t>(asked)] = reply.body;
        }
        std::string bytes = init(stream);
        for (const std::string& piece : pieces) {
            bytes += piece;
        }
        return bytes;
    }
    // What ffmpeg says of a file: a hash of all encoded frames of a stream, but for what comes
    // before its beginning to get a decoder started.
    std::string frames(const std::string& path, const std::string& which) {
        const Finished hashed =
            runToEnd(findTool("ffmpeg"),
                     {"-v", "error", "-nostdin", "-i", path, "-map", "0:" + which, "-c", "copy",
                      "-copypriorss", "0", "-f", "streamhash", "-hash", "md5", "-"});
        EXPECT_EQ(hashed.status, 0) << hashed.output;
        return hashed.output;
    }
    // When the file says that it begins: a sound's decoder may be started before 0.
    double beginning(const std::string& path) {
        return std::stod(
            runToEnd(findTool("ffprobe"),
                     {"-v", "error", "-show_entries", "format=start_time", "-of", "csv=p=0", path})
                .output);
    }
    // When each is shown, in milliseconds after the first of those that the file counts as its own.
    std::vector<long> times(const std::string& path, const char* which) {
        const double begin = beginning(path);
        std::istringstream lines(
            runToEnd(findTool("ffprobe"), {"-v", "error", "-select_streams", which, "-show_entries",
                                           "packet=pts_time", "-of", "csv=p=0", path})
                .output);
        std::vector<double> seconds;
        for (double value = 0; lines >> value; lines.ignore(10, '\n')) {
            if (value >= begin) {
                seconds.push_back(value);
            }
        }
        const double first = seconds.empty() ? 0 : *std::ranges::min_element(seconds);
        std::vector<long> after;
        for (const double value : seconds) {
            after.push_back(std::lround((value - first) * 1000));
        }
        return after;
    }
    // The picture that is shown at that time of a file, decoded.
    std::string picture(const std::string& path, const std::string& time) {
        return runToEnd(findTool("ffmpeg"),
                        {"-v", "error", "-nostdin", "-ss", time, "-i", path, "-map", "0:v",
                         "-frames:v", "1", "-f", "hash", "-hash", "md5", "-"})
            .output;
    }
    std::string facts(const std::string& path, const std::string& which) {
        return runToEnd(
                   findTool("ffprobe"),
                   {"-v", "error", "-select_streams", which, "-show_entries",
                    "stream=codec_name,profile,level,width,height,pix_fmt,sample_rate,channels",
                    "-of", "csv=p=0", path})
            .output;
    }
    void end(const boost::json::object& stream) {
        exchange(port, "DELETE", "/api/streams/" + std::string(stream.at("id").as_string()));
        EXPECT_TRUE(eventually(
            [this] { return process_test::childrenOf(server->pid(), "ffmpeg").empty(); }));
    }
};

MATCHER(IsNearly, "") {
    return std::abs(std::get<0>(arg) - std::get<1>(arg)) <= 1;
}

class CopiedFrom : public CopiedStreamTest, public testing::WithParamInterface<const char*> {};

TEST_P(CopiedFrom, everyFrameOnceWhereverTheViewerBegins) {
    makeFilm(GetParam(), 40, h264 + aac);
    const std::string film = temp.path("films/" + std::string(GetParam()));
    const auto stream = openForAll(addFilms());
    EXPECT_THAT(copied(stream), ElementsAre("audio", "video"));
    EXPECT_THAT(
        std::string(stream.at("mediaType").as_string()),
        AllOf(testing::StartsWith("video/mp4; codecs=\"avc1.64000"), HasSubstr(",mp4a.40.2")));
    for (const std::int64_t first : {0, 5}) {
        temp.write("whole.mp4", whole(stream, first));
        for (const char* const which : {"v", "a"}) {
            EXPECT_EQ(frames(temp.path("whole.mp4"), which), frames(film, which)) << first;
            EXPECT_EQ(facts(temp.path("whole.mp4"), which), facts(film, which));
            // To the millisecond in which some files count.
            EXPECT_THAT(times(temp.path("whole.mp4"), which),
                        testing::Pointwise(IsNearly(), times(film, which)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Files, CopiedFrom, testing::Values("a.mkv", "a.mov"),
                         [](const auto& name) { return std::string(name.param).substr(2); });

TEST_F(CopiedStreamTest, playsTheRightTimeInTheMiddleAndSaysHowLongPartsAre) {
    makeFilm("a.mkv", 60, h264 + aac);
    const auto stream = openForAll(addFilms());
    const auto& starts = stream.at("startsMs").as_array();
    ASSERT_EQ(static_cast<std::int64_t>(starts.size()), stream.at("parts").as_int64());
    // Key frames are three seconds apart, and looked for every four.
    ASSERT_GE(starts.size(), 12U);
    const std::string list = get(std::string(stream.at("playlist").as_string())).body;
    for (const int number : {9, 4, 0}) {
        const auto index = static_cast<std::size_t>(number);
        const std::int64_t start = starts[index].as_int64();
        const std::int64_t length = starts[index + 1].as_int64() - start;
        EXPECT_THAT(list, HasSubstr("#EXTINF:" + std::to_string(length / 1000) + '.' +
                                    std::to_string(1000 + length % 1000).substr(1) + ",\n" +
                                    std::string(stream.at("part").as_string()).substr(5) +
                                    std::to_string(number) + ".m4s\n"));
        temp.write("part.mp4", init(stream) + part(stream, number).body);
        const std::string from = std::to_string(static_cast<double>(start) / 1000);
        EXPECT_EQ(picture(temp.path("part.mp4"), "0"), picture(temp.path("films/a.mkv"), from))
            << number;
    }
    EXPECT_THAT(list, HasSubstr("#EXT-X-TARGETDURATION:6\n"));
}

// When the first picture of a part is decoded, in milliseconds: a number without a sign
// (ISO/IEC 14496-12, 8.8.12), so nothing may lie before the beginning of the film.
std::uint64_t decodedAt(const std::string& part) {
    for (const auto fragment : boxesIn(part, "moof")) {
        for (const auto track : boxesIn(fragment, "traf")) {
            const auto head = boxesIn(track, "tfhd");
            const auto time = boxesIn(track, "tfdt");
            if (head.size() == 1 && time.size() == 1 && numberAt(head[0], 4) == 1) {
                return numberAt(time[0], 4, time[0].at(0) == 0 ? 4 : 8) / 90;
            }
        }
    }
    ADD_FAILURE() << "there are no pictures";
    return 0;
}

TEST_F(CopiedStreamTest, beginsToDecodeWhereEachPartBegins) {
    makeFilm("a.mkv", 20, h264 + aac); // a key frame waits for two pictures that are shown later
    const auto stream = openForAll(addFilms());
    const auto& starts = stream.at("startsMs").as_array();
    ASSERT_GE(starts.size(), 4U);
    for (std::size_t number = 0; number < starts.size(); ++number) {
        const std::string bytes = part(stream, static_cast<int>(number)).body;
        EXPECT_NEAR(static_cast<double>(decodedAt(bytes)),
                    static_cast<double>(starts[number].as_int64()), 100)
            << number;
    }
}

TEST_F(CopiedStreamTest, costsAFractionOfEncoding) {
    makeFilm("a.mkv", 30, h264 + aac, "testsrc2=size=640x360:rate=25");
    const std::string id = addFilms();
    const auto cost = [&](const boost::json::object& stream) {
        const auto ofTools = [this] {
            return process_test::processorTime(server->pid()).ofChildren;
        };
        const auto before = ofTools();
        whole(stream);
        end(stream);
        return ofTools() - before;
    };
    const auto encoded = cost(open(id));
    const auto straight = cost(openForAll(id));
    EXPECT_LT(straight * 4, encoded);
}

TEST_F(CopiedStreamTest, encodesOnlyTheSoundThatNoBrowserPlays) {
    makeFilm("a.mkv", 20, h264 + std::vector<std::string>{"-c:a", "ac3"});
    const auto stream = openForAll(addFilms());
    EXPECT_THAT(copied(stream), ElementsAre("video"));
    for (const std::int64_t first : {0, 3}) {
        temp.write("whole.mp4", whole(stream, first));
        EXPECT_EQ(frames(temp.path("whole.mp4"), "v"), frames(temp.path("films/a.mkv"), "v"));
    }
    EXPECT_THAT(facts(temp.path("whole.mp4"), "a"), HasSubstr("aac"));
    EXPECT_GT(loudness(init(stream) + part(stream, 3).body), -40);
    EXPECT_THAT(decode(init(stream) + part(stream, 0).body), HasSubstr("aac,0.0"));
}

TEST_F(CopiedStreamTest, encodesOnlyThePicturesThatNoBrowserPlays) {
    makeFilm("a.mkv", 20,
             std::vector<std::string>{"-c:v", "libx265", "-preset", "ultrafast", "-x265-params",
                                      "log-level=none"} +
                 aac);
    const std::string id = addFilms();
    const auto stream = openForAll(id);
    EXPECT_THAT(copied(stream), ElementsAre("audio"));
    EXPECT_EQ(stream.at("mediaType"), "video/mp4; codecs=\"avc1.4d4028,mp4a.40.2\"");
    EXPECT_EQ(stream.at("parts"), 5);
    temp.write("whole.mp4", whole(stream));
    EXPECT_EQ(frames(temp.path("whole.mp4"), "a"), frames(temp.path("films/a.mkv"), "a"));
    // Begun in the middle, with nothing before it.
    const auto other = openForAll(id);
    const std::string sought = part(other, 3).body;
    EXPECT_THAT(decode(init(other) + sought),
                AllOf(HasSubstr("h264,12.0"), testing::ContainsRegex("aac,1[12]\\.")));
}

struct Uncut {
    const char* name;
    std::vector<std::string> options;
};

class EncodedAnew : public CopiedStreamTest, public testing::WithParamInterface<Uncut> {};

TEST_P(EncodedAnew, whereTheFilmCannotBeCut) {
    makeFilm("a.mkv", 30, GetParam().options + aac);
    const auto stream = openForAll(addFilms());
    EXPECT_THAT(copied(stream), ElementsAre("audio"));
    EXPECT_EQ(stream.at("parts"), 8);
    EXPECT_THAT(decode(init(stream) + part(stream, 5).body), HasSubstr("h264,20.0"));
}

INSTANTIATE_TEST_SUITE_P(
    Films, EncodedAnew,
    testing::Values(Uncut{"openGroups",
                          {"-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p", "-bf",
                           "2", "-g", "15", "-x264-params", "open-gop=1:scenecut=0:b-adapt=0"}},
                    Uncut{"longGroups", h264 + std::vector<std::string>{"-g", "1000"}},
                    Uncut{"tenBits", h264 + std::vector<std::string>{"-pix_fmt", "yuv420p10le"}},
                    Uncut{"moreColours", h264 + std::vector<std::string>{"-pix_fmt", "yuv444p"}}),
    [](const auto& film) { return std::string(film.param.name); });

TEST_F(CopiedStreamTest, encodesWhatIsDescribedInItsFramesOnly) {
    makeFilm("a.ts", 20, h264 + aac);
    const auto stream = openForAll(addFilms());
    EXPECT_THAT(copied(stream), Not(testing::Contains("audio")));
    EXPECT_EQ(part(stream, 2).status, 200);
}

TEST_F(CopiedStreamTest, copiesWhatTheClientSaysItPlaysAndNothingElse) {
    makeFilm("a.mkv", 10, h264 + aac);
    const std::string id = addFilms();
    const boost::json::value tracks = json("/api/entities/" + id + "/tracks");
    const std::string video(tracks.at("copyType").as_string());
    EXPECT_THAT(video,
                AllOf(testing::StartsWith("video/mp4; codecs=\"avc1."), Not(HasSubstr(","))));
    EXPECT_EQ(tracks.at("audio").at(0).at("copyType"), "audio/mp4; codecs=\"mp4a.40.2\"");
    EXPECT_THAT(copied(open(id)), IsEmpty());
    EXPECT_THAT(copied(open(id, R"({"plays":["video/mp4; codecs=\"avc1.42000a\"","",""]})")),
                IsEmpty());
    EXPECT_THAT(copied(open(id, R"({"plays":["audio/mp4; codecs=\"mp4a.40.2\""]})")),
                ElementsAre("audio"));
    EXPECT_THAT(copied(open(id, boost::json::serialize(boost::json::object{{"plays", {video}}}))),
                ElementsAre("video"));
    for (const char* const wrong : {R"({"plays":"video/mp4"})", R"({"plays":[1]})"}) {
        EXPECT_EQ(postJson(port, "/api/entities/" + id + "/stream", wrong).status, 400);
    }
}

TEST_F(CopiedStreamTest, restsAndEndsAsOthersDo) {
    makeFilm("a.mkv", 120, h264 + aac);
    const auto stream = openForAll(addFilms());
    ASSERT_THAT(copied(stream), ElementsAre("audio", "video"));
    const auto tools = [this] { return process_test::childrenOf(server->pid(), "ffmpeg"); };
    EXPECT_THAT(tools(), IsEmpty());
    // It would be through in a moment if it were let; a viewer that reads keeps it alive.
    for (int look = 0; look < 10; ++look) {
        EXPECT_EQ(part(stream, 0).status, 200);
        ASSERT_EQ(tools().size(), 1U);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    const auto stopped = std::chrono::steady_clock::now();
    ASSERT_TRUE(eventually([&] { return tools().empty(); }));
    EXPECT_LE(std::chrono::steady_clock::now() - stopped, std::chrono::seconds(10));
    EXPECT_EQ(part(stream, 20).status, 200);
    EXPECT_EQ(tools().size(), 1U);
    end(stream);
}

} // namespace
} // namespace ostrad::test
