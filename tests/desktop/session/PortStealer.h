// A stranger who wants a port: takes it whenever it is free, keeps it for a random time, answers
// every request with a page, and writes down what it was asked. A thread of its own serves it.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace desktop {

class PortStealer {
  public:
    PortStealer(std::uint16_t port, std::chrono::milliseconds longestTenure);
    ~PortStealer();
    PortStealer(const PortStealer&) = delete;
    PortStealer& operator=(const PortStealer&) = delete;

    // The first lines of all requests but those for health, which have to be sent to find out who
    // answers; and the first line of each request that carried a cookie.
    [[nodiscard]] std::vector<std::string> misdirected() const;
    [[nodiscard]] int thefts() const { return thefts_; }

  private:
    void run(std::uint16_t port, int longestTenure);
    void serve(int listener, int turns);
    void answer(int connection);

    std::atomic<bool> stopping_ = false;
    std::atomic<int> thefts_ = 0;
    mutable std::mutex mutex_;
    std::vector<std::string> misdirected_;
    std::jthread thread_; // last: it uses everything above
};

} // namespace desktop
