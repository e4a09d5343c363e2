#pragma once

#include "tests/ostrad/OstradFixture.h"

#include <string>
#include <vector>

namespace ostrad::test {

// The real server with the real ffmpeg, and films that are made for a test.
class StreamTest : public OstradTest {
  protected:
    void SetUp() override {
        start({"-ffmpeg", findTool("ffmpeg"), "-ffprobe", findTool("ffprobe")});
    }

    // A film of that many seconds, in the formats named by ffmpeg's options.
    void makeFilm(const std::string& name, int seconds, const std::vector<std::string>& options,
                  const std::string& look = "testsrc=size=64x36:rate=5") {
        temp.makeFolder("films");
        std::vector<std::string> words{"-v",
                                       "error",
                                       "-y",
                                       "-f",
                                       "lavfi",
                                       "-i",
                                       look + ":duration=" + std::to_string(seconds),
                                       "-f",
                                       "lavfi",
                                       "-i",
                                       "sine=frequency=440:sample_rate=48000:duration=" +
                                           std::to_string(seconds)};
        words.insert(words.end(), options.begin(), options.end());
        words.push_back(temp.path("films/" + name));
        const Finished made = runToEnd(findTool("ffmpeg"), words);
        ASSERT_EQ(made.status, 0) << made.output;
    }
    std::string addFilms() {
        EXPECT_EQ(addLibrary("movies", temp.path("films")).status, 201);
        EXPECT_TRUE(scanned());
        return firstId("movies.movie");
    }
    boost::json::object open(const std::string& id, const std::string& body = "{}") {
        const RawReply reply = postJson(port, "/api/entities/" + id + "/stream", body);
        EXPECT_EQ(reply.status, 201) << reply.body;
        return boost::json::parse(reply.body).as_object();
    }
    RawReply part(const boost::json::object& stream, int number) {
        const std::string address =
            std::string(stream.at("part").as_string()) + std::to_string(number) + ".m4s";
        RawReply reply;
        // A slow computer is late now and then, and says so.
        eventually([&] {
            reply = get(address);
            return reply.status != 503 || reply.body.find("longer") == std::string::npos;
        });
        return reply;
    }
    std::string init(const boost::json::object& stream) {
        return get(std::string(stream.at("init").as_string())).body;
    }
    // The loudest sample in decibels: 0 is as loud as can be.
    double loudness(const std::string& bytes) {
        temp.write("part.mp4", bytes);
        const std::string seen =
            runToEnd(findTool("ffmpeg"), {"-nostdin", "-i", temp.path("part.mp4"), "-vn", "-af",
                                          "volumedetect", "-f", "null", "-"})
                .output;
        const std::string word = "max_volume: ";
        const std::size_t at = seen.find(word);
        EXPECT_NE(at, std::string::npos) << seen;
        return at == std::string::npos ? 0 : std::stod(seen.substr(at + word.size()));
    }
    // What a player would see of these bytes: "codec,first time" for each stream.
    std::string decode(const std::string& bytes) {
        temp.write("part.mp4", bytes);
        return runToEnd(findTool("ffprobe"),
                        {"-v", "error", "-show_entries", "stream=codec_name,start_time", "-of",
                         "csv=p=0", temp.path("part.mp4")})
            .output;
    }
};

} // namespace ostrad::test
