#include "platform/posix/LogBuffer.h"

#include "platform/posix/LogLine.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace platform::posix {
namespace {

constexpr std::size_t smallestAllocation = std::size_t{16} << 10;

} // namespace

std::string droppedLinesNote(std::string_view linePrefix, std::uint64_t count) {
    return fmt::format("{}{} log lines dropped\n", linePrefix, count);
}

void LogBuffer::Bytes::reserve(std::size_t wanted) {
    if (wanted <= capacity) {
        return;
    }
    const std::size_t larger = std::max({wanted, 2 * capacity, smallestAllocation});
    auto moved = std::make_unique_for_overwrite<char[]>(larger);
    std::copy_n(data.get(), size, moved.get());
    data = std::move(moved);
    capacity = larger;
}

void LogBuffer::Bytes::add(std::string_view text) {
    std::copy_n(text.data(), text.size(), data.get() + size);
    size += text.size();
}

void LogBuffer::Bytes::addEscaped(std::string_view text) {
    const char* end = appendEscaped(data.get() + size, text);
    size = static_cast<std::size_t>(end - data.get());
}

LogBuffer::LogBuffer(std::size_t capacity, std::string linePrefix)
    : capacity_(capacity)
    , linePrefix_(std::move(linePrefix)) {}

void LogBuffer::append(std::string_view prefix, std::span<const std::string_view> lines) {
    std::string head = linePrefix_;
    head.resize(linePrefix_.size() + longestEscape * prefix.size());
    const char* end = appendEscaped(head.data() + linePrefix_.size(), prefix);
    head.resize(static_cast<std::size_t>(end - head.data()));

    bool wake = false;
    {
        const std::scoped_lock lock(mutex_);
        if (closed_) {
            return;
        }
        wake = !isWaiting();
        for (const auto line : lines) {
            appendLine(head, line);
        }
    }
    if (wake) {
        arrived_.notify_one();
    }
}

void LogBuffer::appendLine(std::string_view head, std::string_view line) {
    const std::size_t used = pending_.size + taken_.size;
    const std::size_t left = capacity_ - std::min(used, capacity_);
    if (head.size() + line.size() >= left) {
        ++dropped_;
        return;
    }
    const std::string note = dropped_ > 0 ? droppedLinesNote(linePrefix_, dropped_) : "";
    const std::size_t around = note.size() + head.size() + 1;
    std::size_t needed = around + longestEscape * line.size();
    if (needed > left) {
        needed = around + escapedSize(line);
    }
    if (needed > left) {
        ++dropped_;
        return;
    }
    pending_.reserve(pending_.size + needed);
    pending_.add(note);
    dropped_ = 0;
    pending_.add(head);
    pending_.addEscaped(line);
    pending_.add("\n");
}

std::optional<std::string_view> LogBuffer::take() {
    std::unique_lock lock(mutex_);
    if (!isWaiting()) {
        pending_ = {};
        taken_ = {};
    }
    arrived_.wait(lock, [this] { return isWaiting() || closed_; });
    if (!isWaiting()) {
        return std::nullopt;
    }
    if (dropped_ > 0) {
        const auto note = droppedLinesNote(linePrefix_, std::exchange(dropped_, 0));
        pending_.reserve(pending_.size + note.size());
        pending_.add(note);
    }
    std::swap(pending_, taken_);
    pending_.size = 0;
    return std::string_view(taken_.data.get(), taken_.size);
}

void LogBuffer::release() {
    const std::scoped_lock lock(mutex_);
    taken_.size = 0;
}

void LogBuffer::close() {
    {
        const std::scoped_lock lock(mutex_);
        closed_ = true;
    }
    arrived_.notify_one();
}

} // namespace platform::posix
