#include "ostrad/Streams.h"

#include <fmt/format.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

namespace ostrad {

namespace {

// Each ffmpeg uses several threads; two films at a time are what a small computer can still do.
int placesFor(int wanted) {
    return wanted > 0 ? wanted
                      : std::max(2, static_cast<int>(std::thread::hardware_concurrency()) / 2);
}

std::string newName() {
    std::random_device source;
    return fmt::format("{:08x}{:08x}{:08x}{:08x}", source(), source(), source(), source());
}

} // namespace

Streams::Streams()
    : Streams(Limits{}) {}

Streams::Streams(Limits streamLimits)
    : limits(streamLimits)
    , places(std::make_shared<LiveStream::Places>(placesFor(streamLimits.running)))
    , keeper([this] { keepHouse(); }) {}

Streams::~Streams() {
    {
        const std::scoped_lock lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    keeper.join();
}

std::string Streams::open(LiveStream::Source source) {
    const auto stream = std::make_shared<LiveStream>(std::move(source), places);
    std::shared_ptr<LiveStream> oldest; // ended outside of the lock
    const std::scoped_lock lock(mutex);
    if (streams.size() >= limits.known) {
        const auto found = std::ranges::min_element(
            streams, {}, [](const auto& entry) { return entry.second->lastRead(); });
        oldest = std::move(found->second);
        streams.erase(found);
    }
    return streams.emplace(newName(), stream).first->first;
}

std::shared_ptr<LiveStream> Streams::find(std::string_view name) {
    const std::scoped_lock lock(mutex);
    const auto found = streams.find(name);
    return found == streams.end() ? nullptr : found->second;
}

bool Streams::close(std::string_view name) {
    std::shared_ptr<LiveStream> closed;
    const std::scoped_lock lock(mutex);
    const auto found = streams.find(name);
    if (found == streams.end()) {
        return false;
    }
    closed = std::move(found->second);
    streams.erase(found);
    return true;
}

void Streams::keepHouse() {
    std::unique_lock lock(mutex);
    while (!changed.wait_for(lock, limits.look, [this] { return stopping; })) {
        std::vector<std::shared_ptr<LiveStream>> all;
        for (auto entry = streams.begin(); entry != streams.end();) {
            all.push_back(entry->second);
            const auto unread = std::chrono::steady_clock::now() - entry->second->lastRead();
            entry = unread > limits.forgotten ? streams.erase(entry) : std::next(entry);
        }
        lock.unlock();
        for (const auto& stream : all) {
            stream->restIfUnread(limits.quiet);
        }
        all.clear();
        lock.lock();
    }
}

} // namespace ostrad
