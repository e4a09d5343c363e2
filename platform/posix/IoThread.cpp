#include "platform/posix/IoThread.h"

#include "platform/posix/QuietThread.h"

#include <poll.h>
#include <unistd.h>

#include <system_error>
#include <utility>

namespace platform::posix {
namespace {

constexpr std::size_t scratchSize = std::size_t{256} * 1024;

Pipe makeWakeUpPipe() {
    auto pipe = makePipe();
    if (!pipe) {
        throw std::system_error(pipe.error(), std::generic_category());
    }
    setNonBlocking(pipe->readEnd.get());
    setNonBlocking(pipe->writeEnd.get());
    return std::move(*pipe);
}

} // namespace

IoThread::IoThread()
    : wakeUp(makeWakeUpPipe())
    , thread(startQuietThread("children", [this] { run(); })) {}

IoThread::~IoThread() {
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    wake();
    thread.join();
}

void IoThread::post(Handler task) {
    {
        const std::lock_guard lock(mutex);
        tasks.push_back(std::move(task));
    }
    wake();
}

void IoThread::wake() const {
    // A full pipe wakes the thread just as well.
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = ::write(wakeUp.writeEnd.get(), &byte, 1);
}

IoThread::WatchId IoThread::watch(int descriptor, Handler onReady) {
    watches.emplace(++lastWatch, std::make_shared<Watch>(descriptor, std::move(onReady)));
    return lastWatch;
}

void IoThread::unwatch(WatchId watch) {
    watches.erase(watch);
}

std::span<char> IoThread::scratch() {
    scratchMemory.resize(scratchSize);
    return scratchMemory;
}

void IoThread::collect(std::vector<pollfd>& polled, std::vector<WatchId>& ids) const {
    polled.assign(1, pollfd{.fd = wakeUp.readEnd.get(), .events = POLLIN, .revents = 0});
    ids.assign(1, 0);
    for (const auto& [id, watch] : watches) {
        polled.push_back(pollfd{.fd = watch->descriptor, .events = POLLIN, .revents = 0});
        ids.push_back(id);
    }
}

bool IoThread::runTasks() {
    char bytes[64];
    while (readSome(wakeUp.readEnd.get(), bytes, sizeof bytes) > 0) {
    }
    std::vector<Handler> due;
    {
        const std::lock_guard lock(mutex);
        if (stopping) {
            return false;
        }
        due.swap(tasks);
    }
    for (const auto& task : due) {
        task();
    }
    return true;
}

void IoThread::run() {
    std::vector<pollfd> polled;
    std::vector<WatchId> ids;
    for (;;) {
        collect(polled, ids);
        if (::poll(polled.data(), static_cast<nfds_t>(polled.size()), -1) < 0) {
            continue;
        }
        for (std::size_t index = 1; index < polled.size(); ++index) {
            const auto found =
                polled[index].revents == 0 ? watches.end() : watches.find(ids[index]);
            if (found != watches.end()) {
                // Held here, so that a handler that unwatches itself lives until it returns.
                const auto held = found->second;
                held->onReady();
            }
        }
        if (polled.front().revents != 0 && !runTasks()) {
            return;
        }
    }
}

} // namespace platform::posix
