// What the kernel says about this process's threads and descriptors (proc(5)): for tests of what
// an idle facility costs and what a finished one leaves behind.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

[[nodiscard]] std::set<int> threadIds();
// The thread of that name that is not among `known`.
[[nodiscard]] std::optional<int> newThreadNamed(const std::string& name,
                                                const std::set<int>& known);
// Waits until the thread sleeps in the kernel; false after 10 s.
[[nodiscard]] bool waitUntilAsleep(int thread);
// How often the thread was taken from or gave up its processor.
[[nodiscard]] std::uint64_t contextSwitches(int thread);

[[nodiscard]] std::set<int> openDescriptors();
[[nodiscard]] bool isInternetSocket(int descriptor);
[[nodiscard]] bool isClosedOnExec(int descriptor);
