#include "tests/desktop/session/Stopwatch.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

namespace desktop {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr int steps = 50'000'000;
constexpr Seconds idleDesktop{0.06}; // for that many

// How many times as long as there it takes here and now.
double pace() {
    const auto start = Clock::now();
    volatile std::uint32_t state = 1;
    for (int step = 0; step < steps; ++step) {
        state = state * 1664525U + 1013904223U;
    }
    return std::max(1.0, Seconds(Clock::now() - start) / idleDesktop);
}

} // namespace

Stopwatch::Stopwatch()
    : paceBefore_(pace())
    , start_(Clock::now()) {}

std::chrono::milliseconds Stopwatch::elapsed() const {
    return std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - start_);
}

::testing::AssertionResult Stopwatch::within(std::chrono::milliseconds limit) const {
    const auto taken = elapsed();
    const double factor = std::max(paceBefore_, pace());
    const auto stretched = std::chrono::ceil<std::chrono::milliseconds>(limit * factor);
    const std::string measured =
        fmt::format("took {} ms of {} ms ({} ms at a pace of {:.1f})", taken.count(),
                    stretched.count(), limit.count(), factor);
    fmt::print("{}\n", measured);
    return (taken <= stretched ? ::testing::AssertionSuccess() : ::testing::AssertionFailure())
           << measured;
}

} // namespace desktop
