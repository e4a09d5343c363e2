// BackgroundQueues on one thread pool (see ThreadPool.h): at most 16 workers, of which a class of
// service uses at most 12, so that tasks which block for seconds hold up neither each other, up to
// that number, nor the other class; and one timer thread, started by the first delay.
// User-initiated work starts first. Idle queues cost nothing: workers leave after `idleLife`
// without work.
//
// The destructor finishes: it waits for the tasks that are running; those that have not started are
// destroyed unrun, delayed ones included, and what is posted later, to a serial queue that outlives
// this object too, is destroyed at once. Not on one of its own threads.
#pragma once

#include "platform/Queues.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace platform {

class ThreadPool;

class ThreadPoolQueues final : public BackgroundQueues {
  public:
    explicit ThreadPoolQueues(std::chrono::milliseconds idleLife = std::chrono::seconds(5));
    ~ThreadPoolQueues() override;
    ThreadPoolQueues(const ThreadPoolQueues&) = delete;
    ThreadPoolQueues& operator=(const ThreadPoolQueues&) = delete;

    [[nodiscard]] Queue& global(QualityOfService qos) override;
    // `label` names the worker while it runs the queue's tasks; its first 15 bytes count.
    [[nodiscard]] std::unique_ptr<Queue> makeSerial(const std::string& label,
                                                    QualityOfService qos) override;

    // What the destructor does, for an owner of more that tasks use.
    void finish();

    // Workers alive right now.
    [[nodiscard]] std::size_t workerCount() const;

  private:
    class Global;
    class Serial;
    struct SerialTasks;

    std::shared_ptr<ThreadPool> pool_;
    std::unique_ptr<Queue> userInitiated_;
    std::unique_ptr<Queue> utility_;
    std::mutex serialsMutex_;
    std::vector<std::weak_ptr<SerialTasks>> serials_;
};

} // namespace platform
