#include "ostrad/Workers.h"

#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace ostrad {

namespace {

constexpr std::chrono::seconds kIdleThread{10};

} // namespace

struct Workers::Shared {
    struct Task {
        std::uint64_t number;
        std::function<void()> run;
    };

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Task> tasks;
    std::size_t threads = 0;
    std::size_t idle = 0;
    bool closed = false;
    Workers* owner = nullptr; // while it lives
    Deliver deliver;

    // The owner's alone.
    std::size_t mostThreads = 0;
    std::uint64_t lastNumber = 0;
    std::map<std::uint64_t, std::function<void()>> done;
};

Workers::Workers(std::size_t mostThreads, Deliver deliver)
    : shared(std::make_shared<Shared>()) {
    shared->owner = this;
    shared->deliver = std::move(deliver);
    shared->mostThreads = mostThreads;
}

Workers::~Workers() {
    {
        const std::scoped_lock lock(shared->mutex);
        shared->closed = true;
        shared->owner = nullptr;
        shared->tasks.clear();
    }
    shared->changed.notify_all();
    shared->done.clear();
}

void Workers::finished(std::uint64_t number) {
    const auto found = shared->done.find(number);
    const auto done = std::move(found->second);
    shared->done.erase(found);
    done();
}

void Workers::run(std::function<void()> task, std::function<void()> done) {
    const std::uint64_t number = ++shared->lastNumber;
    shared->done.emplace(number, std::move(done));
    std::unique_lock lock(shared->mutex);
    shared->tasks.push_back({number, std::move(task)});
    const bool another =
        shared->tasks.size() > shared->idle && shared->threads < shared->mostThreads;
    if (!another) {
        shared->changed.notify_one();
        return;
    }
    ++shared->threads;
    lock.unlock();
    const auto work = [kept = shared] {
        // No signal is anything to these threads, nor is that of a socket whose reader went away.
        sigset_t all;
        sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
        std::unique_lock held(kept->mutex);
        for (;;) {
            ++kept->idle;
            const bool called = kept->changed.wait_for(
                held, kIdleThread, [&] { return kept->closed || !kept->tasks.empty(); });
            --kept->idle;
            if (!called || kept->closed) {
                --kept->threads;
                return;
            }
            Shared::Task next = std::move(kept->tasks.front());
            kept->tasks.pop_front();
            held.unlock();
            next.run();
            next.run = nullptr; // what it owned may take its time too
            held.lock();
            if (kept->owner != nullptr) {
                kept->deliver([kept, number = next.number] {
                    if (kept->owner != nullptr) { // changed on this very thread only
                        kept->owner->finished(number);
                    }
                });
            }
        }
    };
    try {
        std::thread(work).detach();
    } catch (const std::system_error&) {
        lock.lock();
        --shared->threads;
        if (shared->threads == 0) { // else one that works takes it when it is done
            Shared::Task own = std::move(shared->tasks.back());
            shared->tasks.pop_back();
            lock.unlock();
            own.run();
            finished(own.number);
        }
    }
}

} // namespace ostrad
