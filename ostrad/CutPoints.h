#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ostrad {

// Where pictures can be cut without encoding them anew: at key frames that no picture leans across.
// ffprobe looks at places a few seconds apart, which it finds by the file's own index, so that a
// long film costs no more than a short time; a file without an index is unknown. Blocks the calling
// thread; see runTool for stopping.

inline constexpr std::int64_t kLongestCutMs = 12'000; // from one place to the next
inline constexpr std::int64_t kLargestCut = std::int64_t{24}
                                            << 20U; // bytes, as the whole file's are spread

// In milliseconds from the beginning, the first 0. Empty when they are unknown, or so far apart
// that what lies between them is too long or too large, or when pictures that are shown before a
// key frame come after it.
std::vector<std::int64_t> readCutPoints(const std::string& ffprobePath, const std::string& filePath,
                                        std::int64_t durationMs, const std::atomic<bool>& stop);

// ffprobe's lines; pure.
std::vector<std::int64_t> parseCutPoints(std::string_view report, std::int64_t durationMs);

} // namespace ostrad
