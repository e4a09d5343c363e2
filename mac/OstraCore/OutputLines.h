// Turns a child's output, which arrives in pieces of any size, into whole lines. A line ends with
// a line feed, or at finish(). Empty lines and lines that are not UTF-8 are dropped; a line longer
// than `maxLineBytes` is cut at a character and ends in `cutMark`. Holds at most that many bytes
// between two pieces, whatever arrives. One thread at a time.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ostra {

class OutputLines {
  public:
    // Receives complete lines, at most `mostAtOnce` at a time; the views are valid during the call
    // only.
    using Sink = std::function<void(std::span<const std::string_view>)>;

    static constexpr std::size_t maxLineBytes = std::size_t{16} * 1024;
    static constexpr std::size_t mostAtOnce = 16384;
    static constexpr std::string_view cutMark = " … [line cut]";

    explicit OutputLines(Sink sink);

    void append(std::string_view piece);
    // The output has ended: what is left is a line.
    void finish();

  private:
    void keep(std::string_view part);
    void completePending();

    Sink sink_;
    std::string pending_;                 // the unfinished line, at most maxLineBytes and the mark
    bool cut_ = false;                    // pending_ has its mark; the rest of the line is skipped
    std::vector<std::string_view> batch_; // room for what is handed over together
};

} // namespace ostra
