#include "platform/posix/StderrLog.h"

#include "platform/posix/LogBuffer.h"
#include "platform/posix/LogSink.h"
#include "platform/posix/QuietThread.h"

#include <fmt/core.h>
#include <sys/stat.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

namespace platform {
namespace {

// Twice that in memory at most: what is written and what comes meanwhile.
constexpr std::size_t bufferBytes = std::size_t{2} << 20;
constexpr std::chrono::seconds longestFlush{1};
constexpr std::chrono::milliseconds longestGivingUp{200};

std::string linePrefixFor(const Environment& environment, int descriptor) {
    const auto stream = environment.find("JOURNAL_STREAM");
    struct stat status{};
    const bool isJournal = stream != environment.end() && ::fstat(descriptor, &status) == 0 &&
                           stream->second == fmt::format("{}:{}", status.st_dev, status.st_ino);
    return isJournal ? "<6>" : "";
}

} // namespace

// Shared with the thread, which is left behind if it never comes back from a write.
struct StderrLog::Writer {
    Writer(int descriptor, const std::string& linePrefix)
        : buffer(bufferBytes, linePrefix)
        , sink(descriptor, linePrefix) {}

    void run() {
        while (const auto lines = buffer.take()) {
            sink.write(*lines);
            buffer.release();
        }
        const std::scoped_lock lock(mutex);
        isDone = true;
        done.notify_all();
    }

    bool waitUntilDone(std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex);
        return done.wait_for(lock, timeout, [this] { return isDone; });
    }

    posix::LogBuffer buffer;
    posix::LogSink sink;
    std::mutex mutex;
    std::condition_variable done;
    bool isDone = false;
};

StderrLog::StderrLog(const Environment& environment, int descriptor)
    : writer_(std::make_shared<Writer>(descriptor, linePrefixFor(environment, descriptor)))
    , thread_(posix::startQuietThread("log", [writer = writer_] { writer->run(); })) {}

StderrLog::~StderrLog() {
    writer_->buffer.close();
    if (!writer_->waitUntilDone(longestFlush)) {
        writer_->sink.giveUp();
        if (!writer_->waitUntilDone(longestGivingUp)) {
            thread_.detach();
            return;
        }
    }
    thread_.join();
}

void StderrLog::write(std::string_view message) {
    writeLines({}, {&message, 1});
}

void StderrLog::writeLines(std::string_view prefix, std::span<const std::string_view> lines) {
    writer_->buffer.append(prefix, lines);
}

} // namespace platform
