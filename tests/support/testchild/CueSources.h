// Where zorvane-testchild finds its cues when no argument is one.
#pragma once

namespace testchild {

inline constexpr const char* cueVariable = "ZORVANE_TESTCHILD";
// After the executable's own path; such a file wins over the variable.
inline constexpr const char* cueFileSuffix = ".cue";

} // namespace testchild
