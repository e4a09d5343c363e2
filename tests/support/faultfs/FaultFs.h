// How a test tells the preloaded library libfaultfs which file-system call is to go wrong. Only
// calls on paths below FAULTFS_ROOT, and on descriptors opened there, are counted, from 1. The
// calls that were counted are written to the file FAULTFS_LOG, one "NUMBER NAME PATH" a line; a
// flush of a descriptor whose flush failed before adds a line that begins with "AGAIN".
#pragma once

namespace faultfs {

inline constexpr const char* rootVariable = "FAULTFS_ROOT";
inline constexpr const char* logVariable = "FAULTFS_LOG";
inline constexpr const char* callVariable = "FAULTFS_CALL"; // the number of the call; 0: none
// What happens at that call: "EIO", "ENOSPC" or "EINTR" (it fails without having been made),
// "short" (a write of half the bytes, any other call as usual), "lost" (a write, rename or unlink
// says that it succeeded without having been made, any other call as usual), "before" or "after"
// (SIGKILL), or "full" (from there on every call that needs room fails with ENOSPC).
inline constexpr const char* actionVariable = "FAULTFS_ACTION";

} // namespace faultfs
