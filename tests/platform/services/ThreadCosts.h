// What the kernel says about this process's threads and descriptors (proc(5)): for tests of what
// an idle facility costs and what a finished one leaves behind.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

[[nodiscard]] std::set<int> threadIds();
// The thread that is not among `known` and has that name, which it gives itself once it runs;
// nothing after 10 s.
[[nodiscard]] std::optional<int> waitForThreadNamed(const std::string& name,
                                                    const std::set<int>& known);
// Waits until the thread sleeps in the kernel; false after 10 s.
[[nodiscard]] bool waitUntilAsleep(int thread);
// How often the thread was taken from or gave up its processor.
[[nodiscard]] std::uint64_t contextSwitches(int thread);

[[nodiscard]] std::set<int> openDescriptors();
[[nodiscard]] bool isInternetSocket(int descriptor);
[[nodiscard]] bool isClosedOnExec(int descriptor);
