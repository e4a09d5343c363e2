#include "mac/OstraCore/OutputLines.h"

#include "platform/Utf8.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace ostra {

using platform::isValidUtf8;
using platform::prefixOfWholeCharacters;

namespace {

// Up to the first line feed, or everything. The first few bytes without a call, which for lines as
// short as that would cost more than they do.
std::size_t lineLength(std::string_view text) {
    constexpr std::size_t few = 8;
    for (std::size_t at = 0; at < std::min(few, text.size()); ++at) {
        if (text[at] == '\n') {
            return at;
        }
    }
    const void* found = std::memchr(text.data(), '\n', text.size());
    return found == nullptr
               ? text.size()
               : static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}

} // namespace

OutputLines::OutputLines(Sink sink)
    : sink_(std::move(sink)) {}

void OutputLines::append(std::string_view piece) {
    // Its whole lines are looked at together, as they may be as short as a byte.
    const bool isText = isValidUtf8(piece.substr(0, piece.rfind('\n') + 1));
    while (!piece.empty()) {
        const std::size_t length = lineLength(piece);
        if (length == piece.size()) {
            break;
        }
        const std::string_view line = piece.substr(0, length);
        if (pending_.empty() && line.size() <= maxLineBytes) {
            if (!line.empty() && (isText || isValidUtf8(line))) {
                batch_.push_back(line);
            }
        } else {
            keep(line);
            completePending();
        }
        piece.remove_prefix(length + 1);
    }
    flush(); // the batch's views point into the piece
    keep(piece);
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
    flush();
    if (!pending_.empty() && isValidUtf8(pending_)) {
        batch_.emplace_back(pending_);
    }
    flush();
    pending_.clear();
    cut_ = false;
}

void OutputLines::flush() {
    if (!batch_.empty()) {
        sink_(batch_);
        batch_.clear();
    }
}

} // namespace ostra
