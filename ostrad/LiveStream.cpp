#include "ostrad/LiveStream.h"

#include "ostrad/Fragments.h"
#include "ostrad/MediaCommand.h"
#include "ostrad/MediaTracks.h"
#include "ostrad/ToolProcess.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <functional>
#include <map>
#include <thread>
#include <utility>

namespace ostrad {

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::shared_ptr<const std::string>;

constexpr std::int64_t kVideoPartMs = 4000;
// A whole number of AAC frames at 48 kHz, so that parts without video do not drift either.
constexpr std::int64_t kAudioPartMs = 4096;
constexpr std::int64_t kLeastPartMs = 100; // what is left at the end belongs to the part before
// As far apart as encoders put their key frames unless they are told otherwise: 250 pictures.
constexpr std::int64_t kLeadMs = 10'000;
constexpr std::int64_t kPartsBehind = 2;
constexpr std::chrono::seconds kPatience{4};
constexpr std::chrono::milliseconds kLastMoment{500}; // to end by itself after its last output
constexpr ToolBounds kBounds{.memory = std::size_t{2} << 30U};
constexpr std::uint32_t kVideoTrack = 1; // pictures are mapped first
constexpr std::int64_t kUnitsPerMs = 90; // of the track of copied pictures
constexpr std::int64_t kRoundingMs = 20; // less than from one picture to the next key frame

std::vector<std::int64_t> startsOf(const LiveStream::Source& source) {
    if (!source.videoCodec.empty()) {
        return source.cuts;
    }
    const std::int64_t length = source.hasVideo ? kVideoPartMs : kAudioPartMs;
    std::vector<std::int64_t> starts{0};
    while (starts.back() + length <= source.durationMs - kLeastPartMs) {
        starts.push_back(starts.back() + length);
    }
    return starts;
}

std::string seconds(std::int64_t milliseconds) {
    return fmt::format("{}.{:03}", milliseconds / 1000, milliseconds % 1000);
}

// Says to which part a fragment belongs.
using Placing = std::function<std::int64_t(std::string_view fragment)>;

} // namespace

// One ffmpeg, from its start to its end, and the thread that reads it.
class LiveStream::Run {
  public:
    // Without placing, each fragment is a part; with it, what is before the first is left out.
    Run(ToolProcess process, std::int64_t first, std::shared_ptr<Places> allPlaces,
        Placing fragmentPlacing)
        : places(std::move(allPlaces))
        , placing(std::move(fragmentPlacing))
        , next(first)
        , position(first)
        , tool(std::move(process))
        , reader([this] { readAll(); }) {}
    ~Run() {
        stop();
        reader.join();
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    void stop() {
        {
            const std::scoped_lock lock(mutex);
            stopping = true;
        }
        changed.notify_all();
    }

    // Returns once ffmpeg is gone, so that its place is free.
    void end() {
        stop();
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return hasEnded.load(); });
    }

    [[nodiscard]] bool ended() const { return hasEnded; }

    // Whether that part is here, or will be soon.
    bool reaches(std::int64_t number) {
        const std::scoped_lock lock(mutex);
        return parts.contains(number) ||
               (number >= next && (hasEnded ? endedWell : number <= next + partsAhead));
    }

    Part wait(std::int64_t number) {
        std::unique_lock lock(mutex);
        position = number;
        changed.notify_all();
        // What is behind may have been here and gone.
        const auto isOver = [&] { return hasEnded || (next > number && number >= goneBefore); };
        changed.wait_for(lock, kPatience,
                         [&] { return parts.contains(number) || isOver() || stopping; });
        const auto found = parts.find(number);
        if (found != parts.end()) {
            return {.bytes = found->second};
        }
        return {.bytes = {},
                .trouble = isOver() && !stopping ? Trouble::unreadable : Trouble::late};
    }

    Part waitForStart() {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, kPatience, [&] { return start || hasEnded || stopping; });
        return {.bytes = start,
                .trouble = start                   ? Trouble::none
                           : hasEnded && !stopping ? Trouble::unreadable
                                                   : Trouble::late};
    }

  private:
    void readAll() {
        Fragments fragments([this](std::string bytes) { addStart(std::move(bytes)); },
                            [this](std::string bytes) { addFragment(std::move(bytes)); });
        std::array<char, std::size_t{64} << 10U> buffer{};
        ssize_t got = 1;
        while (got > 0 && mayGoOn()) {
            got = tool.read(buffer, stopping);
            if (got > 0 && (!fragments.append({buffer.data(), static_cast<std::size_t>(got)}) ||
                            gathered.size() > Fragments::largestFragment)) {
                got = -1;
            }
        }
        if (got == 0) {
            addGathered();
        }
        const bool succeeded =
            tool.finish(stopping, got == 0 ? Clock::now() + kLastMoment : Clock::time_point::min());
        --places->taken;
        {
            const std::scoped_lock lock(mutex);
            endedWell = succeeded;
            hasEnded = true;
        }
        changed.notify_all();
    }

    // Rests while the viewer is far behind; false when it is time to end.
    bool mayGoOn() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] {
            return stopping || next <= position ||
                   (next <= position + partsAhead && kept < mostKept);
        });
        return !stopping;
    }

    void addStart(std::string bytes) {
        const std::scoped_lock lock(mutex);
        start = std::make_shared<const std::string>(std::move(bytes));
        changed.notify_all();
    }

    void addFragment(std::string bytes) {
        if (!placing) {
            const std::int64_t number = next; // changed by this thread alone
            addPart(number, std::move(bytes));
            return;
        }
        const std::int64_t number = std::max(placing(bytes), gatheredFor);
        if (number != gatheredFor) {
            addGathered();
        }
        gatheredFor = number;
        if (number >= next) {
            gathered += bytes;
        }
    }

    void addGathered() {
        if (!gathered.empty()) {
            addPart(gatheredFor, std::exchange(gathered, {}));
        }
    }

    void addPart(std::int64_t number, std::string bytes) {
        const std::scoped_lock lock(mutex);
        kept += bytes.size();
        parts.emplace(number, std::make_shared<const std::string>(std::move(bytes)));
        next = number + 1;
        while (!parts.empty() && parts.begin()->first < position - kPartsBehind) {
            kept -= parts.begin()->second->size();
            goneBefore = parts.begin()->first + 1;
            parts.erase(parts.begin());
        }
        changed.notify_all();
    }

    const std::shared_ptr<Places> places;
    const Placing placing;
    std::string gathered; // of the reading thread: the fragments of a part that is not whole yet
    std::int64_t gatheredFor = 0;
    std::mutex mutex;
    std::condition_variable changed;
    std::map<std::int64_t, Bytes> parts;
    Bytes start;
    std::size_t kept = 0; // bytes of all parts
    std::int64_t goneBefore = 0;
    std::int64_t next;     // the part that comes next from ffmpeg
    std::int64_t position; // the part that was asked for last
    bool endedWell = false;
    std::atomic<bool> hasEnded = false;
    std::atomic<bool> stopping = false;
    ToolProcess tool;
    std::thread reader; // last: it uses all of the above
};

// Somebody who waits is a reader, however long it takes.
class LiveStream::Asking {
  public:
    explicit Asking(LiveStream& asked)
        : stream(asked) {
        ++stream.waiting;
        stream.read = Clock::now();
    }
    Asking(const Asking&) = delete;
    Asking& operator=(const Asking&) = delete;
    ~Asking() {
        stream.read = Clock::now();
        --stream.waiting;
    }

  private:
    LiveStream& stream;
};

LiveStream::LiveStream(Source streamSource, std::shared_ptr<Places> allPlaces)
    : source(std::move(streamSource))
    , starts(startsOf(source))
    , places(std::move(allPlaces))
    , read(Clock::now()) {}

LiveStream::~LiveStream() {
    if (run) {
        run->end();
    }
}

std::string LiveStream::mediaType() const {
    const auto either = [](const std::string& copied, const char* encoded) {
        return copied.empty() ? std::string(encoded) : copied;
    };
    if (!source.hasVideo) {
        return "audio/mp4; codecs=\"mp4a.40.2\"";
    }
    const std::string video = either(source.videoCodec, "avc1.4d4028");
    return source.audioTrack < 0 ? fmt::format("video/mp4; codecs=\"{}\"", video)
                                 : fmt::format("video/mp4; codecs=\"{},{}\"", video,
                                               either(source.audioCodec, "mp4a.40.2"));
}

std::string LiveStream::playlist(const std::string& name) const {
    std::string list;
    std::int64_t longest = 0;
    for (std::int64_t number = 0; number < parts(); ++number) {
        const auto index = static_cast<std::size_t>(number);
        const std::int64_t end = number + 1 < parts() ? starts[index + 1] : source.durationMs;
        const std::int64_t length = std::max<std::int64_t>(1, end - starts[index]);
        longest = std::max(longest, length);
        fmt::format_to(std::back_inserter(list), "#EXTINF:{}.{:03},\n{}-{}.m4s\n", length / 1000,
                       length % 1000, name, number);
    }
    return fmt::format("#EXTM3U\n#EXT-X-VERSION:7\n#EXT-X-TARGETDURATION:{}\n"
                       "#EXT-X-PLAYLIST-TYPE:VOD\n#EXT-X-MAP:URI=\"{}-init.mp4\"\n{}"
                       "#EXT-X-ENDLIST\n",
                       (longest + 999) / 1000, name, list);
}

std::vector<std::string> LiveStream::command(std::int64_t firstPart) const {
    // Sound lies a little before the pictures it belongs to, and ffmpeg goes to a key frame that
    // may be an earlier one: copying begins a part before, which is left out.
    const std::int64_t begin = copiesVideo() ? std::max<std::int64_t>(0, firstPart - 1) : firstPart;
    const std::int64_t startMs = starts[static_cast<std::size_t>(begin)];
    const std::string at = seconds(startMs);
    // Without an index ffmpeg may begin between two key frames and see nothing before the next:
    // encoding begins earlier, and what it sees until then is left out.
    const bool mayMissPictures = source.hasVideo && !source.hasIndex && !copiesVideo();
    const std::int64_t leadMs = mayMissPictures ? std::min(startMs, kLeadMs) : 0;
    std::vector<std::string> words = mediaCommand(source.ffmpeg, {"-nostdin"});
    const auto add = [&words](std::initializer_list<std::string> more) {
        words.insert(words.end(), more);
    };
    if (!mayMissPictures || leadMs < startMs) { // even the way to the beginning may miss them
        add({"-ss", seconds(startMs - leadMs)});
    }
    add({"-i", "file:" + source.file, "-map_metadata", "-1", "-map_chapters", "-1", "-sn", "-dn"});
    if (leadMs > 0) {
        add({"-ss", seconds(leadMs)});
    }
    if (copiesVideo()) {
        add({"-map", "0:V:0", "-c:v", "copy", "-video_track_timescale",
             std::to_string(kUnitsPerMs * 1000)});
    } else if (source.hasVideo) {
        add({"-map", "0:V:0", "-c:v", "libx264", "-preset", "veryfast", "-profile:v", "main",
             "-level:v", "4.0", "-pix_fmt", "yuv420p", "-vf", "scale='trunc(min(1920,iw)/2)*2':-2",
             "-crf", "23", "-maxrate", "8M", "-bufsize", "16M", "-bf", "0", "-g", "100000",
             "-sc_threshold", "0", "-force_key_frames",
             fmt::format("expr:gte(t,n_forced*{})", seconds(kVideoPartMs)),
             // A picture for every part, and from its beginning on, however few a film has.
             "-fps_mode", "cfr"});
    }
    if (source.audioTrack >= 0) {
        add({"-map", fmt::format("0:a:{}", source.audioTrack)});
    }
    if (source.audioTrack >= 0 && !source.audioCodec.empty()) {
        add({"-c:a", "copy", "-copypriorss:a", "0"});
    } else if (source.audioTrack >= 0) {
        add({"-c:a", "aac", "-b:a", "192k", "-ac", "2", "-ar", "48000"});
        if (copiesVideo()) {
            add({"-bsf:a", "noise=drop='lt(pts,0)'"}); // what an encoder begins with
        }
    }
    // The times in the parts are those of the file, wherever ffmpeg began. Copied pictures keep
    // theirs to the digit, though some are decoded long before they are shown.
    if (copiesVideo()) {
        add({"-movflags",
             "frag_keyframe+empty_moov+default_base_moof+frag_discont+negative_cts_offsets",
             "-avoid_negative_ts", "disabled"});
    } else if (source.hasVideo) {
        add({"-movflags", "frag_keyframe+empty_moov+default_base_moof+frag_discont",
             "-avoid_negative_ts", "make_non_negative"});
    } else {
        add({"-vn", "-frag_duration", std::to_string(kAudioPartMs * 1000), "-movflags",
             "empty_moov+default_base_moof+frag_discont", "-avoid_negative_ts",
             "make_non_negative"});
    }
    add({"-use_editlist", "0", "-output_ts_offset", at, "-f", "mp4", "pipe:1"});
    return words;
}

// Whichever there is; else one from the beginning.
std::shared_ptr<LiveStream::Run> LiveStream::anyRun(Trouble& trouble) {
    {
        const std::scoped_lock lock(mutex);
        if (run) {
            return run;
        }
    }
    return runFor(0, trouble);
}

std::shared_ptr<LiveStream::Run> LiveStream::runFor(std::int64_t number, Trouble& trouble) {
    const std::scoped_lock lock(mutex);
    if (run && run->reaches(number)) {
        return run;
    }
    if (run) {
        run->end(); // though others may still wait for it
        run.reset();
    }
    if (++places->taken > places->most) {
        --places->taken;
        trouble = Trouble::busy;
        return nullptr;
    }
    auto tool = ToolProcess::start(command(number), kBounds);
    if (!tool) {
        --places->taken;
        trouble = Trouble::unreadable;
        return nullptr;
    }
    const auto place = [begins = starts](std::string_view fragment) {
        const auto time = fragmentTime(fragment, kVideoTrack);
        const auto after = std::ranges::upper_bound(begins, time ? *time / kUnitsPerMs + kRoundingMs
                                                                 : std::int64_t{0});
        return std::max<std::int64_t>(0, after - begins.begin() - 1);
    };
    run = std::make_shared<Run>(*std::move(tool), number, places,
                                copiesVideo() ? Placing(place) : Placing());
    return run;
}

LiveStream::Part LiveStream::initialization() {
    {
        const std::scoped_lock lock(mutex);
        if (start) {
            return {.bytes = start};
        }
    }
    const Asking asking(*this);
    Trouble trouble = Trouble::none;
    const auto running = anyRun(trouble);
    if (!running) {
        return {.bytes = {}, .trouble = trouble};
    }
    const Part part = running->waitForStart();
    const std::scoped_lock lock(mutex);
    if (part.bytes) {
        start = part.bytes;
    }
    return part;
}

LiveStream::Part LiveStream::part(std::int64_t number) {
    Trouble trouble = Trouble::none;
    if (number < 0 || number >= parts()) {
        return {.bytes = {}, .trouble = Trouble::unreadable};
    }
    const Asking asking(*this);
    const auto running = runFor(number, trouble);
    return running ? running->wait(number) : Part{.bytes = {}, .trouble = trouble};
}

void LiveStream::restIfUnread(std::chrono::milliseconds quiet) {
    const std::scoped_lock lock(mutex);
    if (run && waiting == 0 && Clock::now() - read.load() >= quiet) {
        run->end();
        run.reset();
    }
}

bool LiveStream::isRunning() {
    const std::scoped_lock lock(mutex);
    return run && !run->ended();
}

} // namespace ostrad
