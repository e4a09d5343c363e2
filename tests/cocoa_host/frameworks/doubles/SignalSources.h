// Which signals a program has taken over by dispatch sources.
#pragma once

#include <vector>

namespace cocoa_host {

// Those that it ignores and that a source watches for.
[[nodiscard]] std::vector<int> takenSignals();

} // namespace cocoa_host
