// The bounded buffer between those who log and the one thread that writes. Lines are escaped on
// the way in (see LogLine.h) and each ends in one line feed. Lines that do not fit are dropped
// and counted; a line with their number takes their place. Bytes that were taken and not yet
// released count against the bound, so memory stays below `capacity` plus one short line; a
// buffer that stays empty for a second gives its memory back. Any thread may append; one thread
// takes.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace platform::posix {

// "<level prefix>N log lines dropped" and a line feed.
[[nodiscard]] std::string droppedLinesNote(std::string_view linePrefix, std::uint64_t count);

class LogBuffer {
  public:
    // `linePrefix` opens every line, notes about dropped ones too; it is not escaped.
    LogBuffer(std::size_t capacity, std::string linePrefix);

    // Never waits for the writer.
    void append(std::string_view prefix, std::span<const std::string_view> lines);

    // Waits for lines and hands them over, valid until release(). Nothing: closed and empty.
    [[nodiscard]] std::optional<std::string_view> take();
    void release();
    // What is there can still be taken; lines that come later are dropped silently.
    void close();

    [[nodiscard]] const std::string& linePrefix() const { return linePrefix_; }

  private:
    struct Bytes {
        std::unique_ptr<char[]> data;
        std::size_t size = 0;
        std::size_t capacity = 0;

        // At once what will ever be needed, `most`: what is not written to costs no memory, and
        // growing in steps would leave holes.
        void reserve(std::size_t wanted, std::size_t most);
        void add(std::string_view text);
        void addEscaped(std::string_view text);
    };

    [[nodiscard]] std::size_t left() const;
    [[nodiscard]] bool appendAll(std::string_view head, std::span<const std::string_view> lines);
    void appendLine(std::string_view head, std::string_view line);
    [[nodiscard]] bool isWaiting() const { return pending_.size > 0 || dropped_ > 0; }

    const std::size_t capacity_;
    const std::string linePrefix_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    Bytes pending_;
    Bytes taken_;
    std::uint64_t dropped_ = 0;
    bool closed_ = false;
};

} // namespace platform::posix
