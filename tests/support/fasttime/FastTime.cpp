#include "tests/support/fasttime/FastTime.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace test_support {
namespace {

using RealTime = std::chrono::steady_clock::time_point;
using platform::Task;

class FastClock final : public platform::Clock {
  public:
    explicit FastClock(int factor)
        : factor_(factor) {}
    [[nodiscard]] platform::SteadyTime now() const override {
        return start_ + (std::chrono::steady_clock::now() - start_) * factor_;
    }
    [[nodiscard]] platform::WallTime wallNow() const override {
        return std::chrono::system_clock::now();
    }
    // Rounded up, so that nothing runs early.
    [[nodiscard]] std::chrono::nanoseconds real(std::chrono::nanoseconds delay) const {
        return (delay + std::chrono::nanoseconds(factor_ - 1)) / factor_;
    }

  private:
    int factor_;
    RealTime start_ = std::chrono::steady_clock::now();
};

// Tasks by due time; taken by whoever serves the queue.
class TimedTasks {
  public:
    void add(std::chrono::nanoseconds delay, Task task) {
        const std::lock_guard lock(mutex_);
        tasks_.emplace(std::pair{std::chrono::steady_clock::now() + delay, ++posted_},
                       std::move(task));
        changed_.notify_all();
    }
    // Waits for a due task, at most until `deadline`; empty when there was none or it was closed.
    Task take(RealTime deadline) {
        std::unique_lock lock(mutex_);
        while (!closed_) {
            const RealTime now = std::chrono::steady_clock::now();
            if (!tasks_.empty() && tasks_.begin()->first.first <= now) {
                return std::move(tasks_.extract(tasks_.begin()).mapped());
            }
            if (now >= deadline) {
                return {};
            }
            const RealTime next =
                tasks_.empty() ? deadline : std::min(deadline, tasks_.begin()->first.first);
            changed_.wait_until(lock, next);
        }
        return {};
    }
    void close() {
        std::map<std::pair<RealTime, std::uint64_t>, Task> dropped;
        const std::lock_guard lock(mutex_);
        closed_ = true;
        dropped.swap(tasks_);
        changed_.notify_all();
    }
    [[nodiscard]] bool isClosed() {
        const std::lock_guard lock(mutex_);
        return closed_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::pair<RealTime, std::uint64_t>, Task> tasks_;
    std::uint64_t posted_ = 0;
    bool closed_ = false;
};

} // namespace

struct FastTime::Impl {
    class Main final : public platform::MainQueue {
      public:
        explicit Main(const FastClock& clock)
            : clock_(clock) {}
        void post(Task task) override { tasks.add({}, std::move(task)); }
        void postAfter(std::chrono::nanoseconds delay, Task task) override {
            tasks.add(clock_.real(delay), std::move(task));
        }
        [[nodiscard]] bool isMainThread() const override {
            return std::this_thread::get_id() == thread_;
        }
        TimedTasks tasks;

      private:
        const FastClock& clock_;
        std::thread::id thread_ = std::this_thread::get_id();
    };

    class Background final : public platform::BackgroundQueues, public platform::Queue {
      public:
        explicit Background(const FastClock& clock)
            : clock_(clock) {
            for (int index = 0; index < 3; ++index) {
                threads_.emplace_back([this] { serve(); });
            }
        }
        ~Background() override {
            tasks_.close();
            for (std::thread& thread : threads_) {
                thread.join();
            }
        }
        void post(Task task) override { tasks_.add({}, std::move(task)); }
        void postAfter(std::chrono::nanoseconds delay, Task task) override {
            tasks_.add(clock_.real(delay), std::move(task));
        }
        [[nodiscard]] platform::Queue& global(platform::QualityOfService /*qos*/) override {
            return *this;
        }
        [[nodiscard]] std::unique_ptr<platform::Queue>
        makeSerial(const std::string& /*label*/, platform::QualityOfService /*qos*/) override {
            return std::make_unique<Serial>(*this);
        }

      private:
        // The tasks of one serial queue; whichever thread is free runs the next.
        struct InOrder : std::enable_shared_from_this<InOrder> {
            explicit InOrder(Background& background)
                : owner(background) {}
            void add(Task task) {
                const std::lock_guard lock(mutex);
                waiting.push_back(std::move(task));
                if (!std::exchange(active, true)) {
                    owner.post([self = shared_from_this()] { self->runNext(); });
                }
            }
            void runNext() {
                Task task;
                {
                    const std::lock_guard lock(mutex);
                    task = std::move(waiting.front());
                    waiting.pop_front();
                }
                task();
                const std::lock_guard lock(mutex);
                active = !waiting.empty();
                if (active) {
                    owner.post([self = shared_from_this()] { self->runNext(); });
                }
            }
            Background& owner;
            std::mutex mutex;
            std::deque<Task> waiting;
            bool active = false;
        };
        class Serial final : public platform::Queue {
          public:
            explicit Serial(Background& owner)
                : tasks_(std::make_shared<InOrder>(owner)) {}
            void post(Task task) override { tasks_->add(std::move(task)); }
            void postAfter(std::chrono::nanoseconds delay, Task task) override {
                tasks_->owner.postAfter(
                    delay, [tasks = tasks_, task = std::move(task)] { tasks->add(task); });
            }

          private:
            std::shared_ptr<InOrder> tasks_;
        };

        void serve() {
            while (!tasks_.isClosed()) {
                if (const Task task =
                        tasks_.take(std::chrono::steady_clock::now() + std::chrono::hours(1))) {
                    task();
                }
            }
        }
        const FastClock& clock_;
        TimedTasks tasks_;
        std::vector<std::thread> threads_;
    };

    explicit Impl(int factor)
        : clock(factor) {}

    FastClock clock;
    Main main{clock};
    Background background{clock};
};

FastTime::FastTime(int factor)
    : impl_(std::make_unique<Impl>(factor)) {}

FastTime::~FastTime() = default;

platform::Clock& FastTime::clock() {
    return impl_->clock;
}

platform::MainQueue& FastTime::mainQueue() {
    return impl_->main;
}

platform::BackgroundQueues& FastTime::backgroundQueues() {
    return impl_->background;
}

bool FastTime::runUntil(const std::function<bool()>& condition) {
    const RealTime deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        const RealTime now = std::chrono::steady_clock::now();
        if (now >= deadline) {
            return false;
        }
        if (const Task task =
                impl_->main.tasks.take(std::min(deadline, now + std::chrono::milliseconds(5)))) {
            task();
        }
    }
    return true;
}

} // namespace test_support
