// Preloaded into a program, lets it start so many threads and no more, as if others of the same
// user had taken the rest while it ran.
#pragma once

namespace fewthreads {

inline constexpr const char* programVariable = "FEWTHREADS_PROGRAM"; // the name of the executable
inline constexpr const char* mostVariable = "FEWTHREADS_MOST";

} // namespace fewthreads
