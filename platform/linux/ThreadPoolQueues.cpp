#include "platform/linux/ThreadPoolQueues.h"

#include "platform/linux/ThreadPool.h"

#include <pthread.h>

#include <deque>
#include <utility>

namespace platform {
namespace {

SteadyTime dueAfter(std::chrono::nanoseconds delay) {
    const SteadyTime now = std::chrono::steady_clock::now();
    return delay < SteadyTime::max() - now ? now + delay : SteadyTime::max();
}

void nameThisThread(const std::string& name) {
    constexpr std::size_t longestThreadName = 15;
    pthread_setname_np(pthread_self(), name.substr(0, longestThreadName).c_str());
}

} // namespace

class ThreadPoolQueues::Global final : public Queue {
  public:
    Global(std::shared_ptr<ThreadPool> pool, QualityOfService qos)
        : pool_(std::move(pool))
        , qos_(qos) {}

    void post(Task task) override { pool_->add(qos_, std::move(task)); }

    void postAfter(std::chrono::nanoseconds delay, Task task) override {
        if (delay <= std::chrono::nanoseconds::zero()) {
            post(std::move(task));
            return;
        }
        // Without a reference of its own: the pool owns its timers.
        pool_->addTimer(dueAfter(delay),
                        [pool = pool_.get(), qos = qos_, task = std::move(task)]() mutable {
                            pool->add(qos, std::move(task));
                        });
    }

  private:
    std::shared_ptr<ThreadPool> pool_;
    QualityOfService qos_;
};

// What a serial queue has still to do. Shared with the pool, so that it survives the queue.
struct ThreadPoolQueues::SerialTasks : std::enable_shared_from_this<SerialTasks> {
    SerialTasks(std::shared_ptr<ThreadPool> threads, QualityOfService service, std::string name)
        : pool(std::move(threads))
        , qos(service)
        , label(std::move(name)) {}

    void post(Task task) {
        {
            const std::scoped_lock lock(mutex);
            if (isClosed) {
                return;
            }
            waiting.push_back(std::move(task));
            if (std::exchange(isActive, true)) {
                return;
            }
        }
        pool->add(qos, [self = shared_from_this()] { self->run(); });
    }

    void run() {
        nameThisThread(label);
        while (const Task task = next()) {
            task();
        }
        nameThisThread("worker");
    }

    Task next() {
        const std::scoped_lock lock(mutex);
        if (waiting.empty()) {
            isActive = false;
            return nullptr;
        }
        Task task = std::move(waiting.front());
        waiting.pop_front();
        return task;
    }

    void close() {
        std::deque<Task> unrun;
        const std::scoped_lock lock(mutex);
        isClosed = true;
        unrun.swap(waiting);
    }

    const std::shared_ptr<ThreadPool> pool;
    const QualityOfService qos;
    const std::string label;
    std::mutex mutex;
    std::deque<Task> waiting;
    bool isActive = false; // the pool has run() to do
    bool isClosed = false;
};

class ThreadPoolQueues::Serial final : public Queue {
  public:
    explicit Serial(std::shared_ptr<SerialTasks> tasks)
        : tasks_(std::move(tasks)) {}

    void post(Task task) override { tasks_->post(std::move(task)); }

    void postAfter(std::chrono::nanoseconds delay, Task task) override {
        if (delay <= std::chrono::nanoseconds::zero()) {
            post(std::move(task));
            return;
        }
        tasks_->pool->addTimer(dueAfter(delay), [tasks = tasks_, task = std::move(task)]() mutable {
            tasks->post(std::move(task));
        });
    }

  private:
    std::shared_ptr<SerialTasks> tasks_;
};

ThreadPoolQueues::ThreadPoolQueues(std::chrono::milliseconds idleLife)
    : pool_(std::make_shared<ThreadPool>(idleLife))
    , userInitiated_(std::make_unique<Global>(pool_, QualityOfService::userInitiated))
    , utility_(std::make_unique<Global>(pool_, QualityOfService::utility)) {}

ThreadPoolQueues::~ThreadPoolQueues() {
    finish();
}

void ThreadPoolQueues::finish() {
    {
        const std::scoped_lock lock(serialsMutex_);
        for (const auto& serial : serials_) {
            if (const auto tasks = serial.lock()) {
                tasks->close();
            }
        }
    }
    pool_->stop();
}

Queue& ThreadPoolQueues::global(QualityOfService qos) {
    return qos == QualityOfService::userInitiated ? *userInitiated_ : *utility_;
}

std::unique_ptr<Queue> ThreadPoolQueues::makeSerial(const std::string& label,
                                                    QualityOfService qos) {
    auto tasks = std::make_shared<SerialTasks>(pool_, qos, label);
    {
        const std::scoped_lock lock(serialsMutex_);
        std::erase_if(serials_, [](const auto& serial) { return serial.expired(); });
        serials_.push_back(tasks);
    }
    return std::make_unique<Serial>(std::move(tasks));
}

std::size_t ThreadPoolQueues::workerCount() const {
    return pool_->workerCount();
}

} // namespace platform
