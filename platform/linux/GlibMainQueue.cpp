#include "platform/linux/GlibMainQueue.h"

#include <glib.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

namespace platform::desktop {
namespace {

using Steady = std::chrono::steady_clock;

struct DelayedTask {
    Steady::time_point due;
    std::uint64_t order = 0;
    Task task;
};

// For a heap whose front is due first; equal times keep the order of posting.
bool runsLater(const DelayedTask& left, const DelayedTask& right) {
    return left.due != right.due ? left.due > right.due : left.order > right.order;
}

// GLib's monotonic clock and the steady clock are both CLOCK_MONOTONIC.
std::int64_t microseconds(Steady::time_point time) {
    return std::chrono::ceil<std::chrono::microseconds>(time.time_since_epoch()).count();
}

Steady::time_point afterNow(std::chrono::nanoseconds delay) {
    const Steady::time_point now = Steady::now();
    return delay < Steady::time_point::max() - now ? now + delay : Steady::time_point::max();
}

} // namespace

struct GlibMainQueue::Source {
    // The C structure that GLib allocates, extended by a pointer to us.
    struct Record {
        GSource base;
        Source* owner;
    };

    Source();
    ~Source();
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    static gboolean dispatch(GSource* source, GSourceFunc callback, gpointer data) noexcept;
    std::vector<Task> takeReady();
    void arm(); // with the mutex held

    GSource* source = nullptr;
    std::mutex mutex;
    std::vector<Task> posted;
    std::vector<DelayedTask> delayed;
    std::uint64_t nextOrder = 0;
};

GlibMainQueue::Source::Source() {
    static GSourceFuncs functions = {
        .prepare = nullptr,
        .check = nullptr,
        .dispatch = dispatch,
        .finalize = nullptr,
        .closure_callback = nullptr,
        .closure_marshal = nullptr,
    };
    source = g_source_new(&functions, sizeof(Record));
    reinterpret_cast<Record*>(source)->owner = this;
    g_source_set_static_name(source, "main queue");
    g_source_set_ready_time(source, -1);
    g_source_attach(source, nullptr);
}

GlibMainQueue::Source::~Source() {
    g_source_destroy(source);
    g_source_unref(source);
}

// noexcept: an exception that leaves a task ends the process here, not inside GLib.
gboolean GlibMainQueue::Source::dispatch(GSource* source, GSourceFunc /*callback*/,
                                         gpointer /*data*/) noexcept {
    Source* const self = reinterpret_cast<Record*>(source)->owner;
    for (Task& task : self->takeReady()) {
        task();
        task = nullptr;
        if (g_source_is_destroyed(source) != FALSE) {
            break; // the task destroyed the queue
        }
    }
    return G_SOURCE_CONTINUE;
}

std::vector<Task> GlibMainQueue::Source::takeReady() {
    const std::scoped_lock lock(mutex);
    std::vector<Task> ready = std::exchange(posted, {});
    const Steady::time_point now = Steady::now();
    while (!delayed.empty() && delayed.front().due <= now) {
        std::ranges::pop_heap(delayed, runsLater);
        ready.push_back(std::move(delayed.back().task));
        delayed.pop_back();
    }
    arm();
    return ready;
}

void GlibMainQueue::Source::arm() {
    std::int64_t readyTime = -1;
    if (!posted.empty()) {
        readyTime = 0;
    } else if (!delayed.empty() && delayed.front().due != Steady::time_point::max()) {
        readyTime = microseconds(delayed.front().due);
    }
    g_source_set_ready_time(source, readyTime);
}

GlibMainQueue::GlibMainQueue()
    : source_(std::make_unique<Source>()) {}

GlibMainQueue::~GlibMainQueue() = default;

void GlibMainQueue::post(Task task) {
    const std::scoped_lock lock(source_->mutex);
    source_->posted.push_back(std::move(task));
    if (source_->posted.size() == 1) {
        source_->arm();
    }
}

void GlibMainQueue::postAfter(std::chrono::nanoseconds delay, Task task) {
    if (delay <= std::chrono::nanoseconds::zero()) {
        post(std::move(task));
        return;
    }
    const Steady::time_point due = afterNow(delay);
    const std::scoped_lock lock(source_->mutex);
    source_->delayed.push_back({due, source_->nextOrder++, std::move(task)});
    std::ranges::push_heap(source_->delayed, runsLater);
    source_->arm();
}

bool GlibMainQueue::isMainThread() const {
    return std::this_thread::get_id() == mainThread_;
}

} // namespace platform::desktop
