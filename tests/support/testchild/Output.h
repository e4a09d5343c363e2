// Unbuffered output: what was written is in the pipe, whatever happens next.
#pragma once

#include <cstdint>
#include <string_view>

namespace testchild {

// Writes everything, or exits when nobody reads any more.
void write(int descriptor, std::string_view bytes);
void printLine(std::string_view text);
void writeHex(std::string_view digits);
void trickle(std::string_view text);
// `bytes` 0 means without end.
void flood(int descriptor, std::uint64_t bytes, std::uint64_t block);
// Lines of so many bytes each.
void floodLines(int descriptor, std::uint64_t bytes, std::uint64_t length);
// How long the longest write of all floods so far took, and all floods together: milliseconds, a
// blank between.
void writeAccount(std::string_view file);

} // namespace testchild
