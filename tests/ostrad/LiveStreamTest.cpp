// Streams of a tool that only hands out what was prepared, and writes down how it was started.
#include "ostrad/Streams.h"
#include "tests/ostrad/Boxes.h"
#include "tests/ostrad/TempFolder.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>
#include <thread>

namespace ostrad {
namespace {

using namespace std::chrono_literals;
using test::box;
using test::eventually;
using test::word;
using testing::ElementsAre;
using testing::HasSubstr;
using Trouble = LiveStream::Trouble;

constexpr std::size_t kPartSize = 100'000;

class LiveStreamTest : public testing::Test {
  protected:
    LiveStreamTest() { prepare(40); }

    void prepare(int parts) {
        std::string bytes = box("ftyp", "x") + box("moov", "head");
        for (int number = 0; number < parts; ++number) {
            std::string content = fmt::format("<{}>", number);
            content.resize(kPartSize, '.');
            bytes += box("moof", "m") + box("mdat", content);
        }
        temp.write("fragments", bytes);
        tool("exec cat '" + temp.path("fragments") + "'");
    }
    // Fragments of copied pictures that are shown from those times on, in milliseconds.
    void prepareCopies(const std::vector<int>& times) {
        std::string bytes = box("ftyp", "x") + box("moov", "head");
        for (std::size_t number = 0; number < times.size(); ++number) {
            const std::string time = word(0) + word(static_cast<std::size_t>(times[number]) * 90);
            const std::string first = word(0) + word(1);
            bytes += box("moof", box("traf", box("tfhd", first) + box("tfdt", time))) +
                     box("mdat", fmt::format("<{}>", number));
        }
        temp.write("fragments", bytes);
        tool("exec cat '" + temp.path("fragments") + "'");
    }
    LiveStream::Source copies() {
        auto copied = source();
        copied.videoCodec = "avc1.64001f";
        copied.audioCodec = "mp4a.40.5";
        copied.cuts = {0, 4000, 9500, 12'000};
        copied.durationMs = 20'000;
        return copied;
    }
    // All that are in the part, in the numbers of this file.
    static std::string fragmentsOf(const LiveStream::Part& part) {
        std::string all;
        const std::string_view bytes = part.bytes ? std::string_view(*part.bytes) : "";
        for (std::size_t at = bytes.find('<'); at != bytes.npos; at = bytes.find('<', at + 1)) {
            all += bytes.substr(at, bytes.find('>', at) + 1 - at);
        }
        return part.bytes ? all : numberOf(part);
    }
    void tool(const std::string& does) {
        temp.writeProgram("ffmpeg",
                          "echo \"$$ $*\" >> '" + temp.path("runs") + "'\n" + does + "\n");
    }
    // Of 160 seconds.
    LiveStream::Source source() {
        return {.ffmpeg = temp.path("ffmpeg"),
                .file = "/films/a.mkv",
                .hasVideo = true,
                .audioTrack = 1,
                .durationMs = 160'000};
    }
    // How the tool was started, each time.
    std::vector<std::string> runs() {
        std::istringstream text(test::readFile(temp.path("runs")));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line);
        }
        return lines;
    }
    // How much of what was prepared the tool of a run, the last one, has taken; nothing when it is
    // through.
    std::optional<std::size_t> taken() { return taken(runs().back()); }
    static std::optional<std::size_t> taken(const std::string& run) {
        const std::string process = "/proc/" + run.substr(0, run.find(' '));
        std::ifstream descriptor(process + "/fdinfo/3");
        std::string word;
        std::size_t position = 0;
        return descriptor >> word >> position ? std::optional(position) : std::nullopt;
    }
    // What the part is, in the numbers of this file; the first of a run is <0>.
    static std::string numberOf(const LiveStream::Part& part) {
        if (!part.bytes) {
            return fmt::format("trouble {}", static_cast<int>(part.trouble));
        }
        const std::size_t begin = part.bytes->find('<');
        return part.bytes->substr(begin, part.bytes->find('>') + 1 - begin);
    }

    test::TempFolder temp;
    std::shared_ptr<LiveStream::Places> places = std::make_shared<LiveStream::Places>(2);
};

TEST_F(LiveStreamTest, startsNothingUntilAPartIsWanted) {
    LiveStream stream(source(), places);
    EXPECT_EQ(stream.parts(), 40);
    EXPECT_THAT(stream.playlist("s"), HasSubstr("s-39.m4s"));
    EXPECT_FALSE(stream.isRunning());
    EXPECT_TRUE(runs().empty());
    EXPECT_EQ(numberOf(stream.part(0)), "<0>");
    EXPECT_THAT(runs(), ElementsAre(testing::AllOf(HasSubstr(" -ss 0.000 -i file:/films/a.mkv "),
                                                   HasSubstr(" -map 0:a:1 "))));
    EXPECT_THAT(*stream.initialization().bytes, HasSubstr("head"));
    EXPECT_EQ(runs().size(), 1U);
}

TEST_F(LiveStreamTest, goesOnWithOneToolAndSeeksWithAnother) {
    LiveStream stream(source(), places);
    for (int number = 0; number < 10; ++number) {
        EXPECT_EQ(numberOf(stream.part(number)), fmt::format("<{}>", number));
    }
    EXPECT_EQ(numberOf(stream.part(8)), "<8>") << "a little behind";
    EXPECT_EQ(runs().size(), 1U);
    EXPECT_EQ(numberOf(stream.part(30)), "<0>") << "the first of another run";
    EXPECT_EQ(numberOf(stream.part(2)), "<0>") << "far behind";
    ASSERT_EQ(runs().size(), 3U);
    EXPECT_THAT(runs()[1], HasSubstr(" -ss 120.000 "));
    EXPECT_THAT(runs()[2], HasSubstr(" -ss 8.000 "));
    EXPECT_EQ(numberOf(stream.part(40)), "trouble 2") << "the film is over";
    EXPECT_EQ(runs().size(), 3U);
}

#ifdef __linux__
TEST_F(LiveStreamTest, goesOnNoFurtherThanAFewPartsBeyondTheReader) {
    LiveStream stream(source(), places);
    // What the reader's and the tool's buffers and the pipe between them hold.
    constexpr std::size_t slack = 4 * kPartSize;
    for (const int position : {0, 3, 12}) {
        for (int number = position == 12 ? 4 : 0; number <= position; ++number) {
            ASSERT_EQ(numberOf(stream.part(number)), fmt::format("<{}>", number));
        }
        const std::size_t least = static_cast<std::size_t>(position + 5) * kPartSize;
        const std::string run = runs().front();
        EXPECT_TRUE(eventually([&] { return !taken(run) || *taken(run) >= least; }));
        // A reader that stays where it is, for as long as another takes for everything.
        LiveStream other(source(), places);
        for (int number = 0; number < 40; ++number) {
            EXPECT_EQ(numberOf(other.part(number)), fmt::format("<{}>", number));
            stream.part(position);
            ASSERT_LE(taken(run).value_or(40 * kPartSize), least + slack) << position;
        }
        EXPECT_TRUE(stream.isRunning());
    }
}
#endif

#ifdef __linux__
TEST_F(LiveStreamTest, keepsLessAheadOfWhatIsLarge) {
    // Eight parts, each half as large as all that is kept.
    constexpr std::size_t large = LiveStream::mostKept / 2;
    std::ofstream file(temp.path("fragments"), std::ios::binary);
    file << box("ftyp", "x") << box("moov", "head");
    for (int number = 0; number < 8; ++number) {
        file << box("moof", "m") << word(large) << "mdat" << fmt::format("<{}>", number);
        file.seekp(static_cast<std::streamoff>(large) - 11, std::ios::cur);
    }
    file << box("free", "");
    file.close();
    tool("exec cat '" + temp.path("fragments") + "'");
    LiveStream stream(source(), places);
    constexpr std::size_t slack = 1 << 20;
    for (const std::size_t position : {0U, 1U, 2U, 3U}) {
        ASSERT_EQ(numberOf(stream.part(static_cast<std::int64_t>(position))),
                  fmt::format("<{}>", position));
    }
    // If it were let, it would go on to the end at once.
    for (int look = 0; look < 50; ++look) {
        ASSERT_LE(taken().value_or(8 * large), 4 * large + slack);
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_TRUE(stream.isRunning());
}
#endif

TEST_F(LiveStreamTest, restsWhenNothingIsReadAndStartsAgain) {
    LiveStream stream(source(), places);
    EXPECT_EQ(numberOf(stream.part(0)), "<0>");
    stream.restIfUnread(1h);
    EXPECT_TRUE(stream.isRunning());
    stream.restIfUnread(0ms);
    EXPECT_FALSE(stream.isRunning());
    EXPECT_EQ(places->taken, 0);
    EXPECT_EQ(numberOf(stream.part(7)), "<0>");
    EXPECT_THAT(runs().at(1), HasSubstr(" -ss 28.000 "));
}

TEST_F(LiveStreamTest, isRefusedWhileThereIsNoPlace) {
    places = std::make_shared<LiveStream::Places>(1);
    LiveStream second(source(), places);
    {
        LiveStream first(source(), places);
        EXPECT_EQ(numberOf(first.part(0)), "<0>");
        EXPECT_EQ(second.part(0).trouble, Trouble::busy);
        EXPECT_EQ(second.initialization().trouble, Trouble::busy);
        EXPECT_EQ(runs().size(), 1U);
        EXPECT_EQ(numberOf(first.part(30)), "<0>") << "a seek needs no second place";
    }
    EXPECT_EQ(numberOf(second.part(0)), "<0>") << "the first has ended with its stream";
}

TEST_F(LiveStreamTest, putsCopiedPicturesIntoPartsByTheirTimes) {
    prepareCopies({0, 2000, 3989, 6000, 9500, 12'001, 14'000});
    LiveStream stream(copies(), places);
    EXPECT_EQ(stream.parts(), 4);
    EXPECT_EQ(stream.mediaType(), "video/mp4; codecs=\"avc1.64001f,mp4a.40.5\"");
    const std::string list = stream.playlist("s");
    EXPECT_THAT(list, HasSubstr("#EXTINF:4.000,\ns-0.m4s\n#EXTINF:5.500,\ns-1.m4s\n"
                                "#EXTINF:2.500,\ns-2.m4s\n#EXTINF:8.000,\ns-3.m4s\n#EXT-X-END"));
    EXPECT_THAT(list, HasSubstr("#EXT-X-TARGETDURATION:8\n"));
    EXPECT_EQ(fragmentsOf(stream.part(0)), "<0><1>");
    EXPECT_EQ(fragmentsOf(stream.part(1)), "<2><3>") << "times are rounded";
    EXPECT_EQ(fragmentsOf(stream.part(2)), "<4>");
    EXPECT_EQ(fragmentsOf(stream.part(3)), "<5><6>");
    EXPECT_THAT(runs(),
                ElementsAre(testing::AllOf(HasSubstr(" -ss 0.000 "), HasSubstr(" -c:v copy "),
                                           HasSubstr(" -c:a copy "))));
}

TEST_F(LiveStreamTest, beginsToCopyAPartBeforeAndLeavesThatOut) {
    prepareCopies({1000, 4000, 9500, 12'000});
    LiveStream stream(copies(), places);
    EXPECT_EQ(fragmentsOf(stream.part(2)), "<2>");
    EXPECT_THAT(runs().at(0), HasSubstr(" -ss 4.000 "));
    EXPECT_EQ(fragmentsOf(stream.part(3)), "<3>");
    EXPECT_EQ(runs().size(), 1U);
    EXPECT_EQ(fragmentsOf(stream.part(1)), "<1>");
    EXPECT_EQ(runs().size(), 2U) << "what was left out may lack sound";
}

TEST_F(LiveStreamTest, doesNotWaitForAPartThatIsNotThere) {
    prepareCopies({0, 9500, 12'000});
    tool("exec tail -c +1 -f '" + temp.path("fragments") + "'"); // it does not end
    LiveStream stream(copies(), places);
    EXPECT_EQ(stream.part(1).trouble, Trouble::unreadable);
    EXPECT_EQ(fragmentsOf(stream.part(2)), "<1>");
}

TEST_F(LiveStreamTest, encodesWhatIsNotCopied) {
    auto mixed = copies();
    mixed.audioCodec.clear();
    prepareCopies({0});
    LiveStream pictures(mixed, places);
    EXPECT_EQ(pictures.mediaType(), "video/mp4; codecs=\"avc1.64001f,mp4a.40.2\"");
    pictures.part(0);
    EXPECT_THAT(runs().at(0), testing::AllOf(HasSubstr(" -c:v copy "), HasSubstr(" -c:a aac ")));
    mixed = source();
    mixed.audioCodec = "mp4a.40.5";
    LiveStream sound(mixed, places);
    EXPECT_EQ(sound.mediaType(), "video/mp4; codecs=\"avc1.4d4028,mp4a.40.5\"");
    EXPECT_EQ(sound.startsMs().at(1), 4000);
    sound.part(0);
    EXPECT_THAT(runs().at(1),
                testing::AllOf(HasSubstr(" -c:v libx264 "), HasSubstr(" -c:a copy ")));
}

TEST_F(LiveStreamTest, saysWhatIsWrong) {
    LiveStream stream(source(), places);
    tool("exit 1");
    EXPECT_EQ(stream.part(0).trouble, Trouble::unreadable);
    EXPECT_EQ(stream.initialization().trouble, Trouble::unreadable);
    prepare(3); // shorter than it claims to be
    EXPECT_EQ(numberOf(stream.part(2)), "<0>");
    EXPECT_EQ(numberOf(stream.part(4)), "<2>");
    EXPECT_EQ(stream.part(5).trouble, Trouble::unreadable);
    tool("exec sleep 600");
    LiveStream silent(source(), places);
    EXPECT_EQ(silent.part(20).trouble, Trouble::late);
    EXPECT_TRUE(silent.isRunning());
}

TEST_F(LiveStreamTest, isEndedByItsKeeperWhenNobodyReads) {
    Streams streams({.running = 1, .quiet = 100ms, .look = 10ms});
    const std::string name = streams.open(source());
    const auto stream = streams.find(name);
    ASSERT_TRUE(stream);
    EXPECT_EQ(numberOf(stream->part(0)), "<0>");
    EXPECT_TRUE(eventually([&] { return !stream->isRunning(); }));
    EXPECT_TRUE(streams.find(name)) << "it is known all the same";
    EXPECT_TRUE(streams.close(name));
    EXPECT_FALSE(streams.close(name));
    EXPECT_FALSE(streams.find(name));
}

TEST_F(LiveStreamTest, isForgottenInTimeAndWhenThereAreTooMany) {
    Streams few({.known = 2, .look = 10ms});
    const std::string first = few.open(source());
    const std::string second = few.open(source());
    ASSERT_TRUE(few.find(first));
    few.find(first)->part(0);
    few.open(source());
    EXPECT_TRUE(few.find(first)) << "it was read after the second";
    EXPECT_FALSE(few.find(second));
    Streams brief({.forgotten = 100ms, .look = 10ms});
    const std::string name = brief.open(source());
    EXPECT_TRUE(eventually([&] { return !brief.find(name); }));
}

} // namespace
} // namespace ostrad
