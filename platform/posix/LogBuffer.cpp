#include "platform/posix/LogBuffer.h"

#include "platform/posix/LogLine.h"

#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

namespace platform::posix {
namespace {

constexpr std::chrono::seconds keptWhenEmpty{1};

} // namespace

std::string droppedLinesNote(std::string_view linePrefix, std::uint64_t count) {
    return fmt::format("{}{} log lines dropped\n", linePrefix, count);
}

void LogBuffer::Bytes::reserve(std::size_t wanted, std::size_t most) {
    if (wanted <= capacity) {
        return;
    }
    const std::size_t larger = std::max(wanted, most);
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
        if (!appendAll(head, lines)) {
            for (const auto line : lines) {
                appendLine(head, line);
            }
        }
    }
    if (wake) {
        arrived_.notify_one();
    }
}

std::size_t LogBuffer::left() const {
    return capacity_ - std::min(pending_.size + taken_.size, capacity_);
}

// The short way of many lines at once, when all of them fit whatever they hold.
bool LogBuffer::appendAll(std::string_view head, std::span<const std::string_view> lines) {
    constexpr std::size_t block = 16; // a head is copied as one, and what is too much overwritten
    std::size_t most = block;
    for (const auto line : lines) {
        most += head.size() + longestEscape * line.size() + 1;
    }
    if (dropped_ > 0 || head.size() > block || most > left()) {
        return false;
    }
    char heads[block] = {};
    std::copy_n(head.data(), head.size(), heads);
    pending_.reserve(pending_.size + most, capacity_);
    char* out = pending_.data.get() + pending_.size;
    for (const auto line : lines) {
        std::memcpy(out, heads, block);
        out = appendEscaped(out + head.size(), line);
        *out++ = '\n';
    }
    pending_.size = static_cast<std::size_t>(out - pending_.data.get());
    return true;
}

void LogBuffer::appendLine(std::string_view head, std::string_view line) {
    const std::size_t left = this->left();
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
    pending_.reserve(pending_.size + needed, capacity_);
    pending_.add(note);
    dropped_ = 0;
    pending_.add(head);
    pending_.addEscaped(line);
    pending_.add("\n");
}

std::optional<std::string_view> LogBuffer::take() {
    std::unique_lock lock(mutex_);
    const auto hasNews = [this] { return isWaiting() || closed_; };
    if (pending_.capacity + taken_.capacity > 0 &&
        !arrived_.wait_for(lock, keptWhenEmpty, hasNews)) {
        pending_ = {};
        taken_ = {};
    }
    arrived_.wait(lock, hasNews);
    if (!isWaiting()) {
        return std::nullopt;
    }
    if (dropped_ > 0) {
        const auto note = droppedLinesNote(linePrefix_, std::exchange(dropped_, 0));
        pending_.reserve(pending_.size + note.size(), capacity_);
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
