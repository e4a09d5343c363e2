#include "ostrad/CutPoints.h"

#include "ostrad/MediaCommand.h"
#include "ostrad/ToolRunner.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <optional>

namespace ostrad {

namespace {

constexpr std::int64_t kStepMs = 4000; // from one look to the next
constexpr std::int64_t kMostLooks = 10'000;
constexpr int kPackets = 3; // of a look: a key frame, and what would be shown before it
constexpr std::int64_t kLeastMs = 2000;
constexpr std::int64_t kLatestStartMs = 500; // of the pictures, when the sound is first
constexpr std::int64_t kLeastAtEndMs = 100;
constexpr double kLatest = 3'600'000; // seconds
constexpr double kLargest = 1e15;
constexpr ToolLimits kLimits{.time = std::chrono::seconds(4), .maxOutput = std::size_t{4} << 20U};

std::optional<double> number(std::string_view text, double most) {
    const std::string copy(text.substr(0, 40));
    char* end = nullptr;
    const double value = std::strtod(copy.c_str(), &end);
    return end != copy.c_str() && *end == '\0' && std::fabs(value) < most ? std::optional(value)
                                                                          : std::nullopt;
}

struct Packets {
    std::vector<double> keys;
    double start = 0; // of the file, which its times may count from anything
    double size = 0;
};

// Nothing when something else than looks at key frames is in it.
std::optional<Packets> readPackets(std::string_view report) {
    Packets packets;
    bool hasStart = false;
    int others = kPackets; // since the last key frame
    while (!report.empty()) {
        const std::string_view line = report.substr(0, report.find('\n'));
        report.remove_prefix(std::min(report.size(), line.size() + 1));
        const std::size_t first = line.find(',');
        const std::string_view kind = line.substr(0, first);
        const std::string_view rest = first == line.npos ? "" : line.substr(first + 1);
        const std::string_view last = rest.substr(std::min(rest.size(), rest.find(',')));
        const auto time = number(rest.substr(0, rest.size() - last.size()), kLatest);
        if (!time) {
            return std::nullopt;
        }
        if (kind == "format") {
            const auto size = number(last.substr(std::min<std::size_t>(last.size(), 1)), kLargest);
            if (!size) {
                return std::nullopt;
            }
            packets.start = *time;
            packets.size = *size;
            hasStart = true;
        } else if (kind == "packet" && last.starts_with(",K")) {
            packets.keys.push_back(*time);
            others = 0;
        } else if (kind != "packet" || ++others >= kPackets || *time < packets.keys.back()) {
            return std::nullopt;
        }
    }
    return hasStart && !packets.keys.empty() ? std::optional(std::move(packets)) : std::nullopt;
}

} // namespace

std::vector<std::int64_t> parseCutPoints(std::string_view report, std::int64_t durationMs) {
    const auto packets = readPackets(report);
    if (!packets) {
        return {};
    }
    std::vector<std::int64_t> cuts{0};
    for (std::size_t index = 0; index < packets->keys.size(); ++index) {
        const std::int64_t time = std::llround((packets->keys[index] - packets->start) * 1000);
        if (index == 0 && (time < 0 || time > kLatestStartMs)) {
            return {};
        }
        if (time - cuts.back() >= kLeastMs && durationMs - time >= kLeastAtEndMs) {
            cuts.push_back(time);
        }
    }
    std::vector<std::int64_t> ends(std::next(cuts.begin()), cuts.end());
    ends.push_back(durationMs);
    const double bytesInMs =
        packets->size / static_cast<double>(std::max<std::int64_t>(1, durationMs));
    const bool areNear = std::ranges::equal(cuts, ends, [&](std::int64_t begin, std::int64_t end) {
        return end - begin <= kLongestCutMs &&
               static_cast<double>(end - begin) * bytesInMs <= static_cast<double>(kLargestCut);
    });
    return areNear ? cuts : std::vector<std::int64_t>{};
}

std::vector<std::int64_t> readCutPoints(const std::string& ffprobePath, const std::string& filePath,
                                        std::int64_t durationMs, const std::atomic<bool>& stop) {
    if (durationMs / kStepMs >= kMostLooks) {
        return {};
    }
    std::string looks;
    for (std::int64_t time = 0; time < durationMs; time += kStepMs) {
        fmt::format_to(std::back_inserter(looks), "{}{}%+#{}", looks.empty() ? "" : ",",
                       time / 1000, kPackets);
    }
    const auto report = runTool(
        mediaCommand(ffprobePath, {"-print_format", "csv", "-select_streams", "V:0",
                                   "-show_entries", "format=start_time,size:packet=pts_time,flags",
                                   "-read_intervals", looks, "file:" + filePath}),
        kLimits, stop);
    return report ? parseCutPoints(*report, durationMs) : std::vector<std::int64_t>{};
}

} // namespace ostrad
