// libdispatch's queues and signal sources. Tasks of the global queues get a thread each; a serial
// queue has one at a time; the main queue is the main run loop's. A source drops its handlers when
// it is cancelled. https://developer.apple.com/documentation/dispatch
#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>

#include "tests/cocoa_host/frameworks/doubles/MainLoop.h"
#include "tests/cocoa_host/frameworks/doubles/SignalSources.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Task = std::function<void()>;

void runOnThread(Task task) {
    std::thread([task = std::move(task)]() mutable {
        task();
        task = nullptr;
    }).detach();
}

class TaskQueue {
  public:
    virtual ~TaskQueue() = default;
    virtual void post(Task task) = 0;
};

class MainTasks final : public TaskQueue {
  public:
    void post(Task task) override { cocoa_host::postToMainQueue(std::move(task)); }
};

class GlobalTasks final : public TaskQueue {
  public:
    void post(Task task) override { runOnThread(std::move(task)); }
};

class SerialTasks final : public TaskQueue, public std::enable_shared_from_this<SerialTasks> {
  public:
    void post(Task task) override {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
        if (!running_) {
            running_ = true;
            runOnThread([self = shared_from_this()] { self->run(); });
        }
    }

  private:
    void run() {
        std::unique_lock lock(mutex_);
        while (!tasks_.empty()) {
            Task next = std::move(tasks_.front());
            tasks_.pop_front();
            lock.unlock();
            next();
            next = nullptr;
            lock.lock();
        }
        running_ = false;
    }

    std::mutex mutex_;
    std::deque<Task> tasks_;
    bool running_ = false;
};

// One thread that hands out what has become due.
class Alarms {
  public:
    void set(Clock::time_point when, Task task) {
        const std::lock_guard lock(mutex_);
        if (!running_) {
            running_ = true;
            runOnThread([this] { run(); });
        }
        due_.emplace(when, std::move(task));
        changed_.notify_one();
    }

  private:
    void run() {
        std::unique_lock lock(mutex_);
        for (;;) {
            if (due_.empty()) {
                changed_.wait(lock);
                continue;
            }
            const auto first = due_.begin();
            const Clock::time_point when = first->first;
            if (when > Clock::now()) {
                changed_.wait_until(lock, when);
                continue;
            }
            const Task task = std::move(first->second);
            due_.erase(first);
            lock.unlock();
            task();
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::multimap<Clock::time_point, Task> due_;
    bool running_ = false;
};

Alarms& alarms() {
    static auto* const all = new Alarms;
    return *all;
}

} // namespace

@interface HostQueue : NSObject <OS_dispatch_queue> {
  @public
    std::shared_ptr<TaskQueue> tasks;
}
@end
@implementation HostQueue
@end

@interface HostSignalSource : NSObject <OS_dispatch_source> {
  @public
    int number;
    HostQueue* queue;
    dispatch_block_t registrationHandler;
    dispatch_block_t eventHandler;
}
@end
@implementation HostSignalSource
@end

namespace {

HostQueue* makeQueue(std::shared_ptr<TaskQueue> tasks) {
    HostQueue* const made = [[HostQueue alloc] init];
    made->tasks = std::move(tasks);
    return made;
}

TaskQueue& tasksOf(dispatch_queue_t queue) {
    return *static_cast<HostQueue*>(static_cast<NSObject*>(queue))->tasks;
}

HostSignalSource* signalSource(NSObject* source) { return static_cast<HostSignalSource*>(source); }

void postBlock(HostQueue* queue, dispatch_block_t block) {
    if (block != nil) {
        queue->tasks->post([block] { block(); });
    }
}

// A source also hears of a signal that is ignored. So what the program ignores while a source
// watches for it is caught, written down a pipe, and forgotten.
class SignalSources {
  public:
    void add(HostSignalSource* source) {
        const std::lock_guard lock(mutex_);
        if (pipe_[0] < 0 && ::pipe2(pipe_, O_CLOEXEC) == 0) {
            runOnThread([this] { read(); });
        }
        watching_.push_back(source);
        apply(source->number);
    }
    void remove(HostSignalSource* source) {
        const std::lock_guard lock(mutex_);
        std::erase(watching_, source);
        source->registrationHandler = nil;
        source->eventHandler = nil;
        apply(source->number);
    }
    [[nodiscard]] std::vector<int> taken() {
        const std::lock_guard lock(mutex_);
        std::vector<int> numbers;
        for (const auto& [number, ignored] : ignored_) {
            if (ignored && isWatched(number)) {
                numbers.push_back(number);
            }
        }
        return numbers;
    }
    void ignore(int number, bool ignored) {
        const std::lock_guard lock(mutex_);
        ignored_[number] = ignored;
        apply(number);
    }

  private:
    static void write(int number) {
        const auto byte = static_cast<char>(number);
        [[maybe_unused]] const auto written = ::write(pipe_[1], &byte, 1);
    }

    [[nodiscard]] bool isWatched(int number) const {
        return std::ranges::any_of(
            watching_, [&](HostSignalSource* source) { return source->number == number; });
    }

    void apply(int number) {
        if (ignored_[number]) {
            struct sigaction action = {};
            action.sa_handler = isWatched(number) ? write : SIG_IGN;
            action.sa_flags = SA_RESTART;
            ::sigaction(number, &action, nullptr);
        }
    }

    void read() {
        char number = 0;
        while (::read(pipe_[0], &number, 1) == 1) {
            const std::lock_guard lock(mutex_);
            for (const auto& source : watching_) {
                if (source->number == number) {
                    postBlock(source->queue, source->eventHandler);
                }
            }
        }
    }

    static inline int pipe_[2] = {-1, -1};
    std::mutex mutex_;
    std::vector<HostSignalSource*> watching_;
    std::map<int, bool> ignored_;
};

SignalSources& signalSources() {
    static auto* const all = new SignalSources;
    return *all;
}

} // namespace

namespace cocoa_host {

std::vector<int> takenSignals() { return signalSources().taken(); }

} // namespace cocoa_host

extern "C" {

extern const dispatch_source_type_s _dispatch_source_type_signal = {};

dispatch_queue_t dispatch_get_main_queue() {
    static HostQueue* const queue = makeQueue(std::make_shared<MainTasks>());
    return queue;
}

dispatch_queue_t dispatch_get_global_queue(intptr_t /*identifier*/, uintptr_t /*flags*/) {
    static HostQueue* const queue = makeQueue(std::make_shared<GlobalTasks>());
    return queue;
}

dispatch_queue_attr_t dispatch_queue_attr_make_with_qos_class(dispatch_queue_attr_t attributes,
                                                              qos_class_t /*qos*/,
                                                              int /*priority*/) {
    return attributes;
}

dispatch_queue_t dispatch_queue_create(const char* /*label*/,
                                       dispatch_queue_attr_t /*attributes*/) {
    return makeQueue(std::make_shared<SerialTasks>());
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
    tasksOf(queue).post([context, work] { work(context); });
}

dispatch_time_t dispatch_time(dispatch_time_t /*now*/, int64_t nanoseconds) {
    const auto when = Clock::now() + std::chrono::nanoseconds(nanoseconds);
    return static_cast<dispatch_time_t>(when.time_since_epoch().count());
}

void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                      dispatch_function_t work) {
    const auto tasks = static_cast<HostQueue*>(static_cast<NSObject*>(queue))->tasks;
    alarms().set(Clock::time_point(Clock::duration(static_cast<std::int64_t>(when))),
                 [tasks, context, work] { tasks->post([context, work] { work(context); }); });
}

dispatch_source_t dispatch_source_create(dispatch_source_type_t /*type*/, uintptr_t handle,
                                         uintptr_t /*mask*/, dispatch_queue_t queue) {
    HostSignalSource* const made = [[HostSignalSource alloc] init];
    made->number = static_cast<int>(handle);
    made->queue = static_cast<HostQueue*>(static_cast<NSObject*>(queue));
    return made;
}

void dispatch_source_set_registration_handler(dispatch_source_t source, dispatch_block_t handler) {
    signalSource(source)->registrationHandler = handler;
}

void dispatch_source_set_event_handler(dispatch_source_t source, dispatch_block_t handler) {
    signalSource(source)->eventHandler = handler;
}

void dispatch_activate(dispatch_object_t object) {
    HostSignalSource* const source = signalSource(object);
    signalSources().add(source);
    postBlock(source->queue, source->registrationHandler);
}

void dispatch_source_cancel(dispatch_source_t source) {
    signalSources().remove(signalSource(source));
}

int pthread_main_np() { return ::getpid() == ::gettid() ? 1 : 0; }

// Stands before the C library's.
sighandler_t signal(int number, sighandler_t handler) noexcept {
    struct sigaction previous = {};
    if (handler == SIG_IGN) {
        ::sigaction(number, nullptr, &previous);
        signalSources().ignore(number, true);
        return previous.sa_handler;
    }
    signalSources().ignore(number, false);
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    return ::sigaction(number, &action, &previous) == 0 ? previous.sa_handler : SIG_ERR;
}

} // extern "C"
