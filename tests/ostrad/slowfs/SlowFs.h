// A disk that is asleep, for a program that libslowfs is preloaded into: as long as the file
// SLOWFS_GATE exists, every call of the kind SLOWFS_CALLS ("open" or "read") on what lies below
// SLOWFS_ROOT waits. A read that asked not to wait fails with EAGAIN instead.
#pragma once

namespace slowfs {

inline constexpr const char* rootVariable = "SLOWFS_ROOT";
inline constexpr const char* gateVariable = "SLOWFS_GATE";
inline constexpr const char* callsVariable = "SLOWFS_CALLS";

} // namespace slowfs
