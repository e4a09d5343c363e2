// A pool of worker threads with two classes of work, and the timers that feed it. Workers are
// started when a task finds none free and leave after some idle seconds, so an idle pool has
// neither threads that wake nor timers that tick. Tasks may block: each class leaves some of the
// threads to the other, so neither can lock the other out. When the pool stops, tasks that have
// not started are destroyed unrun, and so is what is added later. Where the system has no thread to
// give, tasks and timers wait until it has. Any thread, except that stop() must not be called from
// a task.
#pragma once

#include "platform/Clock.h"
#include "platform/Queues.h"
#include "platform/posix/QuietThread.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace platform {

class ThreadPool {
  public:
    explicit ThreadPool(std::chrono::milliseconds idleLife,
                        posix::StartThread startThread = &posix::startQuietThread);
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;
    ~ThreadPool();

    void add(QualityOfService qos, Task task);
    // Calls `whenDue` on the timer thread, which must only hand it on.
    void addTimer(SteadyTime due, Task whenDue);
    // Waits for the tasks that are running.
    void stop();

    // Workers alive; the timer thread is not counted.
    [[nodiscard]] std::size_t workerCount() const;

  private:
    struct Class {
        std::deque<Task> waiting;
        std::size_t running = 0;

        [[nodiscard]] std::size_t startable() const;
    };
    using Workers = std::list<std::thread>;

    [[nodiscard]] Class* nextClass();
    [[nodiscard]] std::size_t idleWorkers() const;
    void startWorkerIfNeeded();
    void startTimerThreadIfNeeded();
    void schedule(SteadyTime due, Task whenDue);
    void tryAgainLater();
    void work(Workers::iterator self);
    [[nodiscard]] bool waitForWork(std::unique_lock<std::mutex>& lock);
    void runTimers();

    const std::chrono::milliseconds idleLife_;
    const posix::StartThread startThread_;
    mutable std::mutex mutex_;
    bool stopped_ = false;

    std::array<Class, 2> classes_; // by QualityOfService
    std::condition_variable workArrived_;
    Workers workers_;
    Workers left_;               // have returned or are about to; not joined yet
    bool isTryingAgain_ = false; // a timer will ask for a worker

    std::map<std::pair<SteadyTime, std::uint64_t>, Task> timers_; // equal times: first come first
    std::uint64_t timersAdded_ = 0;
    std::condition_variable timersChanged_;
    std::thread timerThread_;
};

} // namespace platform
