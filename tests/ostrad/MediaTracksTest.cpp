#include "ostrad/MediaTracks.h"

#include <gtest/gtest.h>

namespace ostrad {
namespace {

std::string probe(const std::string& format, const std::string& streams) {
    return R"({"format":{"duration":"61.5","format_name":")" + format + R"("},"streams":[)" +
           streams + "]}";
}

std::string direct(const std::string& format, const std::string& streams,
                   const std::string& name = "film.mkv") {
    const auto tracks = parseTracks(probe(format, streams), name);
    return tracks ? tracks->directType : "unreadable";
}

constexpr const char* aac = R"({"codec_type":"audio","codec_name":"aac","channels":2})";

TEST(MediaTracks, nameTheTypeABrowserIsAskedAbout) {
    const std::string h264 =
        R"({"codec_type":"video","codec_name":"h264","profile":"High","level":31,"pix_fmt":"yuv420p"},)";
    EXPECT_EQ(direct("mov,mp4,m4a,3gp,3g2,mj2", h264 + aac),
              "video/mp4; codecs=\"avc1.64001f,mp4a.40.2\"");
    EXPECT_EQ(
        direct("matroska,webm",
               R"({"codec_type":"video","codec_name":"hevc","level":93,"pix_fmt":"yuv420p10le"},
                        {"codec_type":"audio","codec_name":"ac3"})"),
        "video/x-matroska; codecs=\"hvc1.2.4.L93.B0,ac-3\"");
    EXPECT_EQ(direct("matroska,webm",
                     R"({"codec_type":"video","codec_name":"vp9","pix_fmt":"yuv420p"},
                        {"codec_type":"audio","codec_name":"opus"})",
                     "a.webm"),
              "video/webm; codecs=\"vp09.00.40.08,opus\"");
    EXPECT_EQ(direct("avi", h264 + aac), "") << "no browser plays it as it is";
    EXPECT_EQ(direct("mpegts", h264 + aac), "");
    EXPECT_EQ(direct("mp3", R"({"codec_type":"audio","codec_name":"mp3"})"), "audio/mpeg");
    EXPECT_EQ(direct("flac", R"({"codec_type":"audio","codec_name":"flac"},
        {"codec_type":"video","codec_name":"mjpeg","disposition":{"attached_pic":1}})"),
              "audio/flac")
        << "a cover is no video";
}

TEST(MediaTracks, sayWhichFilesHaveNoIndexOfTheirKeyFrames) {
    const auto hasIndex = [](const char* format) {
        return parseTracks(probe(format, aac), "film").value().hasIndex;
    };
    EXPECT_FALSE(hasIndex("mpegts"));
    EXPECT_FALSE(hasIndex("mpeg"));
    EXPECT_TRUE(hasIndex("matroska,webm"));
    EXPECT_TRUE(hasIndex("mov,mp4,m4a,3gp,3g2,mj2"));
}

std::string copied(const std::string& stream) {
    const auto tracks = parseTracks(probe("matroska,webm", stream), "film.mkv");
    return !tracks            ? "unreadable"
           : tracks->hasVideo ? tracks->copyCodec
                              : tracks->audio.front().copyCodec;
}

TEST(MediaTracks, nameWhatBrowsersMayPlayAsItIs) {
    const auto h264 = [](const std::string& profile, const std::string& pixels, int level = 31) {
        return copied(R"({"codec_type":"video","codec_name":"h264","profile":")" + profile +
                      R"(","pix_fmt":")" + pixels + R"(","extradata_size":39,"level":)" +
                      std::to_string(level) + "}");
    };
    EXPECT_EQ(h264("High", "yuv420p"), "avc1.64001f");
    EXPECT_EQ(h264("High", "yuvj420p"), "avc1.64001f");
    EXPECT_EQ(h264("Main", "yuv420p", 40), "avc1.4d0028");
    EXPECT_EQ(h264("Constrained Baseline", "yuv420p", 51), "avc1.420033");
    EXPECT_EQ(h264("High 10", "yuv420p10le"), "");
    EXPECT_EQ(h264("High", "yuv420p10le"), "");
    EXPECT_EQ(h264("High 4:2:2", "yuv422p"), "");
    EXPECT_EQ(h264("High", "yuv422p"), "");
    EXPECT_EQ(h264("Extended", "yuv420p"), "");
    EXPECT_EQ(h264("High", "yuv420p", -99), "") << "nobody knows";
    EXPECT_EQ(copied(R"({"codec_type":"video","codec_name":"hevc","profile":"Main",
                         "pix_fmt":"yuv420p","level":93})"),
              "");
    const auto sound = [](const std::string& codec, const std::string& profile, int channels = 2) {
        return copied(R"({"codec_type":"audio","codec_name":")" + codec + R"(","profile":")" +
                      profile + R"(","extradata_size":5,"channels":)" + std::to_string(channels) +
                      "}");
    };
    EXPECT_EQ(sound("aac", "LC"), "mp4a.40.2");
    EXPECT_EQ(sound("aac", "LC", 6), "mp4a.40.2");
    EXPECT_EQ(sound("aac", "HE-AAC"), "mp4a.40.5");
    EXPECT_EQ(sound("aac", "HE-AACv2"), "mp4a.40.29");
    EXPECT_EQ(sound("aac", "LC", 8), "");
    EXPECT_EQ(sound("aac", "LC", 0), "");
    EXPECT_EQ(sound("aac", "Main"), "");
    EXPECT_EQ(sound("ac3", "LC"), "");
    // What is described only in its frames.
    EXPECT_EQ(copied(R"({"codec_type":"audio","codec_name":"aac","profile":"LC","channels":2})"),
              "");
    EXPECT_EQ(copied(R"({"codec_type":"video","codec_name":"h264","profile":"High",
                         "pix_fmt":"yuv420p","level":31})"),
              "");
}

TEST(MediaTracks, listWhatCanBeChosen) {
    const auto tracks = parseTracks(
        R"({"format":{"duration":"61.5","format_name":"matroska,webm"},
            "streams":[{"codec_type":"video","codec_name":"h264"},
                       {"codec_type":"audio","codec_name":"dts","channels":6,
                        "tags":{"language":"eng","title":"Main"}},
                       {"codec_type":"audio","codec_name":"flac","tags":{"language":"fra"}},
                       {"codec_type":"subtitle","codec_name":"hdmv_pgs_subtitle"},
                       {"codec_type":"subtitle","codec_name":"ass","tags":{"language":"deu"}}],
            "chapters":[{"start_time":"0.000","tags":{"title":"One"}},{"start_time":"30.5"}]})",
        "film.mkv");
    ASSERT_TRUE(tracks);
    EXPECT_EQ(tracks->durationMs, 61'500);
    EXPECT_TRUE(tracks->hasVideo);
    ASSERT_EQ(tracks->audio.size(), 2U);
    EXPECT_EQ(tracks->audio[0].channels, 6);
    EXPECT_EQ(tracks->audio[0].title, "Main");
    EXPECT_EQ(tracks->audio[1].language, "fra");
    ASSERT_EQ(tracks->text.size(), 1U) << "pictures are no text";
    EXPECT_EQ(tracks->textIndexes[0], 1);
    ASSERT_EQ(tracks->chapters.size(), 2U);
    EXPECT_EQ(tracks->chapters[1].startMs, 30'500);
}

TEST(MediaTracks, doNotTrustTheAnswer) {
    for (const char* wrong : {"", "[]", "{}", R"({"format":{}})", R"({"format":{},"streams":{}})",
                              R"({"format":{},"streams":[1,"x",null]})"}) {
        EXPECT_FALSE(parseTracks(wrong, "a.mkv")) << wrong;
    }
    std::string many = R"({"codec_type":"audio","codec_name":"aac"})";
    for (int track = 0; track < 1000; ++track) {
        many += R"(,{"codec_type":"audio"},{"codec_type":"subtitle","codec_name":"subrip"})";
    }
    const auto tracks = parseTracks(probe("matroska,webm", many), "a.mkv");
    ASSERT_TRUE(tracks);
    EXPECT_EQ(tracks->audio.size(), kMostTracks);
    EXPECT_EQ(tracks->text.size(), kMostTracks);
    const auto endless = parseTracks(
        R"({"format":{"duration":"1e300"},"streams":[{"codec_type":"audio","codec_name":"aac"}]})",
        "a");
    ASSERT_TRUE(endless);
    EXPECT_EQ(endless->durationMs, 0);
}

} // namespace
} // namespace ostrad
