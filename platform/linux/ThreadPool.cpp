#include "platform/linux/ThreadPool.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace platform {
namespace {

constexpr std::size_t mostWorkers = 16;
constexpr std::size_t mostOfOneClass = 12;
constexpr std::chrono::milliseconds beforeTryingAgain{250};

} // namespace

ThreadPool::ThreadPool(std::chrono::milliseconds idleLife, posix::StartThread startThread)
    : idleLife_(idleLife)
    , startThread_(std::move(startThread)) {}

ThreadPool::~ThreadPool() {
    stop();
}

std::size_t ThreadPool::Class::startable() const {
    return std::min(waiting.size(), mostOfOneClass - running);
}

void ThreadPool::add(QualityOfService qos, Task task) {
    Workers left;
    {
        const std::scoped_lock lock(mutex_);
        if (stopped_) {
            return;
        }
        classes_[static_cast<std::size_t>(qos)].waiting.push_back(std::move(task));
        left.swap(left_);
        startWorkerIfNeeded();
        if (!timers_.empty()) {
            startTimerThreadIfNeeded();
        }
    }
    workArrived_.notify_one();
    for (auto& worker : left) {
        worker.join();
    }
}

std::size_t ThreadPool::idleWorkers() const {
    return workers_.size() - classes_[0].running - classes_[1].running;
}

void ThreadPool::startWorkerIfNeeded() {
    const std::size_t startable = classes_[0].startable() + classes_[1].startable();
    if (startable <= idleWorkers() || workers_.size() == mostWorkers) {
        return;
    }
    const auto self = workers_.emplace(workers_.end());
    try {
        *self = startThread_("worker", [this, self] { work(self); });
    } catch (const std::system_error&) {
        workers_.erase(self);
        if (workers_.empty()) {
            tryAgainLater(); // nobody else would ever run the task
        }
    }
}

void ThreadPool::tryAgainLater() {
    if (std::exchange(isTryingAgain_, true)) {
        startTimerThreadIfNeeded();
        return;
    }
    schedule(std::chrono::steady_clock::now() + beforeTryingAgain, [this] {
        const std::scoped_lock lock(mutex_);
        isTryingAgain_ = false;
        if (!stopped_) {
            startWorkerIfNeeded();
        }
    });
}

ThreadPool::Class* ThreadPool::nextClass() {
    const auto found =
        std::ranges::find_if(classes_, [](const Class& c) { return c.startable() > 0; });
    return found == classes_.end() ? nullptr : &*found;
}

bool ThreadPool::waitForWork(std::unique_lock<std::mutex>& lock) {
    const auto hasNews = [this] { return stopped_ || nextClass() != nullptr; };
    return workArrived_.wait_for(lock, idleLife_, hasNews) && !stopped_;
}

void ThreadPool::work(Workers::iterator self) {
    std::unique_lock lock(mutex_);
    while (waitForWork(lock)) {
        Class& source = *nextClass();
        Task task = std::move(source.waiting.front());
        source.waiting.pop_front();
        ++source.running;
        lock.unlock();
        task();
        task = nullptr;
        lock.lock();
        --source.running;
    }
    if (!stopped_) {
        left_.splice(left_.end(), workers_, self);
    }
}

void ThreadPool::addTimer(SteadyTime due, Task whenDue) {
    const std::scoped_lock lock(mutex_);
    if (stopped_) {
        return;
    }
    schedule(due, std::move(whenDue));
}

void ThreadPool::schedule(SteadyTime due, Task whenDue) {
    const auto added = timers_.emplace(std::pair(due, ++timersAdded_), std::move(whenDue)).first;
    if (added == timers_.begin()) {
        timersChanged_.notify_one();
    }
    startTimerThreadIfNeeded();
}

// Without one, the next task or timer asks again.
void ThreadPool::startTimerThreadIfNeeded() {
    if (timerThread_.joinable()) {
        return;
    }
    try {
        timerThread_ = startThread_("timers", [this] { runTimers(); });
    } catch (const std::system_error&) {
    }
}

void ThreadPool::runTimers() {
    std::unique_lock lock(mutex_);
    while (!stopped_) {
        if (timers_.empty()) {
            timersChanged_.wait(lock);
            continue;
        }
        const SteadyTime due = timers_.begin()->first.first;
        if (std::chrono::steady_clock::now() < due) {
            timersChanged_.wait_until(lock, due);
            continue;
        }
        auto timer = timers_.extract(timers_.begin());
        lock.unlock();
        timer.mapped()();
        timer = {};
        lock.lock();
    }
}

void ThreadPool::stop() {
    std::array<Class, 2> unrun;
    decltype(timers_) untimed;
    Workers all;
    std::thread timerThread;
    {
        const std::scoped_lock lock(mutex_);
        stopped_ = true;
        for (std::size_t i = 0; i < classes_.size(); ++i) {
            unrun[i].waiting.swap(classes_[i].waiting);
        }
        untimed.swap(timers_);
        all.splice(all.end(), workers_);
        all.splice(all.end(), left_);
        timerThread.swap(timerThread_);
    }
    workArrived_.notify_all();
    timersChanged_.notify_all();
    if (timerThread.joinable()) {
        timerThread.join();
    }
    for (auto& worker : all) {
        worker.join();
    }
}

std::size_t ThreadPool::workerCount() const {
    const std::scoped_lock lock(mutex_);
    return workers_.size();
}

} // namespace platform
