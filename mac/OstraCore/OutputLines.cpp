#include "mac/OstraCore/OutputLines.h"

#include "platform/Utf8.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

namespace ostra {

using platform::isValidUtf8;
using platform::prefixOfWholeCharacters;

namespace {

// Calls `found` with the place of each line feed, in order. Lines may be as short as a byte, so
// eight bytes are looked at together; where there is none among them, lines are long.
template <typename Found>
void eachLineFeed(std::string_view text, Found found) {
    constexpr std::uint64_t everyByte = 0x0101010101010101U;
    constexpr std::uint64_t highBits = everyByte * 0x80;
    constexpr bool isLittle = std::endian::native == std::endian::little;
    std::uint64_t bytes = 0;
    for (std::size_t at = 0; at < text.size(); at += sizeof bytes) {
        if (text.size() - at >= sizeof bytes) {
            std::memcpy(&bytes, text.data() + at, sizeof bytes);
        } else {
            bytes = 0;
            std::memcpy(&bytes, text.data() + at, text.size() - at);
        }
        bytes ^= everyByte * '\n';
        // The high bit of each byte that was a line feed, and no other.
        std::uint64_t feeds = ~(((bytes & ~highBits) + ~highBits) | bytes) & highBits;
        if (feeds == 0) {
            const std::size_t next = text.find('\n', at + sizeof bytes);
            if (next == std::string_view::npos) {
                return;
            }
            at = next - sizeof bytes; // there the next turn begins
        }
        for (; feeds != 0; feeds &= isLittle ? feeds - 1 : ~std::bit_floor(feeds)) {
            const int bit = isLittle ? std::countr_zero(feeds) : std::countl_zero(feeds);
            found(at + static_cast<std::size_t>(bit) / 8);
        }
    }
}

} // namespace

OutputLines::OutputLines(Sink sink)
    : sink_(std::move(sink))
    , batch_(mostAtOnce) {}

void OutputLines::append(std::string_view piece) {
    // Its whole lines are looked at together, as they may be as short as a byte.
    const bool isText = isValidUtf8(piece.substr(0, piece.rfind('\n') + 1));
    std::size_t begin = 0;
    std::size_t count = 0; // in the batch, whose views point into the piece
    const auto flush = [&] {
        if (count > 0) {
            sink_(std::span(batch_).first(std::exchange(count, 0)));
        }
    };
    eachLineFeed(piece, [&](std::size_t end) {
        const std::string_view line(piece.data() + begin, end - begin);
        if (begin == 0 || line.size() > maxLineBytes) {
            flush();
            keep(line);
            completePending();
        } else if (!line.empty() && (isText || isValidUtf8(line))) {
            batch_[count] = line;
            if (++count == mostAtOnce) {
                flush();
            }
        }
        begin = end + 1;
    });
    flush();
    keep(piece.substr(begin));
}

void OutputLines::finish() {
    completePending();
}

void OutputLines::keep(std::string_view part) {
    if (cut_ || part.empty()) {
        return;
    }
    const std::size_t room = maxLineBytes - pending_.size();
    if (part.size() <= room) {
        pending_.append(part);
        return;
    }
    // One byte more than fits tells whether the cut would fall inside a character.
    pending_.append(part.substr(0, room + 1));
    pending_.resize(prefixOfWholeCharacters(pending_, maxLineBytes).size());
    pending_.append(cutMark);
    cut_ = true;
}

void OutputLines::completePending() {
    if (!pending_.empty() && isValidUtf8(pending_)) {
        const std::string_view line = pending_;
        sink_({&line, 1});
    }
    pending_.clear();
    cut_ = false;
}

} // namespace ostra
