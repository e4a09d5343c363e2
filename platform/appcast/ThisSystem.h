// This machine in the words of an appcast. Its names are "linux" and "linux-" with the processor
// as `uname -m` has it (linux-x86_64), so that one feed can carry archives for several processors.
// Its version, which sparkle:minimumSystemVersion is compared with, is the kernel's: the one number
// that means the same on every distribution. Any thread.
#pragma once

#include "platform/appcast/Appcast.h"

#include <string>
#include <string_view>

namespace platform::appcast {

[[nodiscard]] SystemDescription thisSystem();

// The leading numbers of a kernel release: "6.1.0" of "6.1.0-18-amd64"; "0" when there are none.
[[nodiscard]] std::string kernelVersion(std::string_view release);

} // namespace platform::appcast
