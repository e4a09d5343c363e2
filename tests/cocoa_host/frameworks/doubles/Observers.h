// How many blocks the notification center holds on to.
#pragma once

#include <cstddef>

namespace cocoa_host {

[[nodiscard]] std::size_t blockObserverCount();

} // namespace cocoa_host
