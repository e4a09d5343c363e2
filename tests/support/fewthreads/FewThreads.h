// Preloaded into a program, lets it start so many threads and no more, as if others of the same
// user had taken the rest while it ran.
#pragma once

namespace fewthreads {

inline constexpr const char* programVariable = "FEWTHREADS_PROGRAM"; // the name of the executable
inline constexpr const char* mostVariable = "FEWTHREADS_MOST";
// How many are refused afterwards; all of them when it is not there.
inline constexpr const char* refusedVariable = "FEWTHREADS_REFUSED";
// When it is there, only threads count that a library asks for whose file name begins like this.
inline constexpr const char* libraryVariable = "FEWTHREADS_LIBRARY";

} // namespace fewthreads
