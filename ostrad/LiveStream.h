#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ostrad {

// One viewer's stream of one media file: H.264 and AAC in fragments of MP4, cut at times that are
// known from the start, so that a play list can name every part before any is made: fixed ones
// where the pictures are encoded, key frames of the file where they are copied. ffmpeg runs only
// while parts are asked for: it starts where the first one is wanted, starts again where somebody
// seeks, and goes on only a few parts beyond the one that was asked for last, because its output is
// left in the pipe until then. Any thread.
class LiveStream {
  public:
    struct Source {
        std::string ffmpeg;
        std::string file;
        bool hasVideo = false;
        std::int64_t audioTrack = -1; // none
        std::int64_t durationMs = 0;
        bool hasIndex = true; // MediaTracks.h
        // In the words of RFC 6381, what is copied as it is; empty: encoded anew. Sound is copied
        // beside pictures only.
        std::string videoCodec = {};
        std::string audioCodec = {};
        std::vector<std::int64_t> cuts = {}; // of copied pictures: CutPoints.h
    };
    // How many ffmpegs there are, of all streams, and how many there may be.
    struct Places {
        explicit Places(int mostRunning)
            : most(mostRunning) {}
        const int most;
        std::atomic<int> taken = 0;
    };
    enum class Trouble { none, busy, unreadable, late };
    struct Part {
        std::shared_ptr<const std::string> bytes; // null: there is trouble
        Trouble trouble = Trouble::none;
    };

    static constexpr std::int64_t partsAhead = 4;
    // Beyond that nothing is kept ahead of the reader.
    static constexpr std::size_t mostKept = std::size_t{64} << 20U;

    LiveStream(Source source, std::shared_ptr<Places> places);
    ~LiveStream(); // ends what runs
    LiveStream(const LiveStream&) = delete;
    LiveStream& operator=(const LiveStream&) = delete;

    // Both block until it is there, at most for four seconds; whoever was late asks again.
    Part initialization();
    Part part(std::int64_t number);

    [[nodiscard]] std::int64_t parts() const { return std::ssize(starts); }
    [[nodiscard]] const std::vector<std::int64_t>& startsMs() const { return starts; }
    [[nodiscard]] std::string mediaType() const; // for MediaSource.isTypeSupported()
    [[nodiscard]] std::string playlist(const std::string& name) const; // RFC 8216

    // Ends ffmpeg when nothing was asked for that long; the next request starts it again.
    void restIfUnread(std::chrono::milliseconds quiet);
    [[nodiscard]] bool isRunning();
    [[nodiscard]] std::chrono::steady_clock::time_point lastRead() const { return read; }

  private:
    class Run;
    class Asking;

    std::shared_ptr<Run> anyRun(Trouble& trouble);
    std::shared_ptr<Run> runFor(std::int64_t number, Trouble& trouble);
    [[nodiscard]] std::vector<std::string> command(std::int64_t firstPart) const;

    [[nodiscard]] bool copiesVideo() const { return !source.videoCodec.empty(); }

    const Source source;
    const std::vector<std::int64_t> starts; // of the parts
    const std::shared_ptr<Places> places;
    std::mutex mutex;
    std::shared_ptr<Run> run;
    std::shared_ptr<const std::string> start; // what precedes the parts, the same for every run
    std::atomic<std::chrono::steady_clock::time_point> read;
    std::atomic<int> waiting = 0;
};

} // namespace ostrad
