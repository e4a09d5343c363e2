// Closes the descriptors that the kernel says are open, a bounded list at a time and without
// memory from the heap: it runs between fork and exec.
#pragma once

#include <array>
#include <cstddef>

namespace platform::posix {

inline constexpr std::size_t descriptorsAtOnce = 256;

// `list(int* open, std::size_t room)` puts up to `room` open descriptors there, the lowest first,
// and returns how many; 0 when it cannot tell. `close(int)` closes one. False when descriptors from
// `first` to `last`, both included, may still be open.
template <class List, class Close>
[[nodiscard]] bool closeListed(int first, int last, const List& list, const Close& close) noexcept {
    std::array<int, descriptorsAtOnce> open{};
    for (;;) {
        const std::size_t count = list(open.data(), open.size());
        bool closed = false;
        for (std::size_t index = 0; index < count; ++index) {
            if (open[index] >= first && open[index] <= last) {
                close(open[index]);
                closed = true;
            }
        }
        if (count < open.size()) {
            return count > 0;
        }
        if (!closed) {
            return false;
        }
    }
}

} // namespace platform::posix
