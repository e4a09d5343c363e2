// Waiting for conditions of the world outside this process, which tells nobody when it changes:
// the condition is asked again every few milliseconds until it holds or the deadline has passed.
#pragma once

#include <chrono>
#include <thread>

namespace desktop {

// A patient default: it is only ever used up by a test that fails.
constexpr std::chrono::seconds patience{30};

// Whether the condition held before the time was over.
template <typename Condition>
[[nodiscard]] bool eventually(Condition condition, std::chrono::milliseconds limit = patience) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

} // namespace desktop
