#include "mac/OstraCore/OutputLines.h"

#include "platform/Utf8.h"

#include <cstring>
#include <utility>

namespace ostra {

using platform::isValidUtf8;
using platform::prefixOfWholeCharacters;

OutputLines::OutputLines(Sink sink)
    : sink_(std::move(sink)) {}

void OutputLines::append(std::string_view piece) {
    while (!piece.empty()) {
        const void* found = std::memchr(piece.data(), '\n', piece.size());
        if (found == nullptr) {
            break;
        }
        const auto length =
            static_cast<std::size_t>(static_cast<const char*>(found) - piece.data());
        const std::string_view line = piece.substr(0, length);
        if (pending_.empty() && line.size() <= maxLineBytes) {
            addLine(line);
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
    addLine(pending_);
    flush();
    pending_.clear();
    cut_ = false;
}

void OutputLines::addLine(std::string_view line) {
    if (!line.empty() && isValidUtf8(line)) {
        batch_.push_back(line);
    }
}

void OutputLines::flush() {
    if (!batch_.empty()) {
        sink_(batch_);
        batch_.clear();
    }
}

} // namespace ostra
