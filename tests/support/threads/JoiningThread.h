// A thread that is waited for when it goes out of scope; not every standard library has one.
#pragma once

#include <thread>
#include <utility>

namespace test_support {

class JoiningThread {
  public:
    JoiningThread() = default;
    template <class Work>
    explicit JoiningThread(Work work)
        : thread_(std::move(work)) {}
    ~JoiningThread() { join(); }
    JoiningThread(JoiningThread&&) = default;
    JoiningThread& operator=(JoiningThread&& other) noexcept {
        join();
        thread_ = std::move(other.thread_);
        return *this;
    }
    JoiningThread(const JoiningThread&) = delete;
    JoiningThread& operator=(const JoiningThread&) = delete;

    void join() {
        if (thread_.joinable()) {
            thread_.join();
        }
    }

  private:
    std::thread thread_;
};

} // namespace test_support
