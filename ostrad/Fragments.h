#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ostrad {

// Cuts a fragmented MP4 (ISO/IEC 14496-12), which arrives in pieces of any size, at its boxes:
// first what comes before the first fragment (`ftyp` and `moov`), then fragment after fragment
// (`moof` and `mdat`). Boxes that are neither, such as the index at the end, are left out. One
// thread at a time.
class Fragments {
  public:
    using Sink = std::function<void(std::string)>;

    static constexpr std::size_t largestFragment = std::size_t{64} << 20;

    Fragments(Sink onInitialization, Sink onFragment);

    // False once the bytes are no such stream, or a part of it is larger than the limit.
    bool append(std::string_view piece);

  private:
    bool takeBox(std::string_view type, std::string_view box);

    Sink onInitialization;
    Sink onFragment;
    std::string pending; // from the start of a box
    std::string part;    // whole boxes of what is being put together
    bool initialized = false;
    bool broken = false;
};

// When the first picture or sound of that track is shown, in the track's own units: its decoding
// time and what its first sample adds to that. Nothing when there is none of it.
std::optional<std::int64_t> fragmentTime(std::string_view fragment, std::uint32_t track);

} // namespace ostrad
