// Measures what the application promises in seconds. The promise is for a desktop that has nothing
// else to do, which a machine that runs tests is not: a fixed piece of work is timed right before
// and right after, and the limit is stretched by how much longer than on such a desktop the slower
// of the two took (never shrunk). So a slower processor counts, and whoever else uses it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>

namespace desktop {

class Stopwatch {
  public:
    // Runs when this returns.
    Stopwatch();

    [[nodiscard]] std::chrono::milliseconds elapsed() const;
    // Whether no more than that has passed. Says what was measured, on standard output too.
    [[nodiscard]] ::testing::AssertionResult within(std::chrono::milliseconds limit) const;

  private:
    double paceBefore_;
    std::chrono::steady_clock::time_point start_;
};

} // namespace desktop
