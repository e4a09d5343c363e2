#include "platform/posix/WatchedCommand.h"

#include "platform/posix/Deadline.h"
#include "platform/posix/Pipe.h"
#include "platform/posix/Reaping.h"
#include "platform/posix/Spawn.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <utility>

namespace platform::posix {
namespace {

constexpr std::chrono::seconds graceAfterSigterm{2};

class Watched {
  public:
    explicit Watched(const WatchedCommand& command)
        : command_(command) {}
    ~Watched() {
        if (pid_ > 0) {
            killAndReap(pid_);
        }
    }
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;

    // 0 or errno.
    [[nodiscard]] int start() {
        const auto image =
            ExecImage::make(command_.executable, command_.arguments, command_.environment);
        if (!image) {
            return image.error();
        }
        auto out = makePipe();
        auto err = makePipe();
        if (!out || !err) {
            return out ? err.error() : out.error();
        }
        auto spawned = spawn(
            {.image = &*image, .output = out->writeEnd.get(), .errorOutput = err->writeEnd.get()});
        if (!spawned) {
            return spawned.error();
        }
        pid_ = spawned->pid;
        auto watch = watchChild(pid_);
        if (!watch) {
            return watch.error();
        }
        exit_ = std::move(*watch);
        if (const auto error = spawned->awaitExec()) {
            return *error;
        }
        output_ = std::move(out->readEnd);
        error_ = std::move(err->readEnd);
        setNonBlocking(output_.get());
        setNonBlocking(error_.get());
        return 0;
    }

    [[nodiscard]] WatchedEnd run() {
        end_.reason = readUntilExit(Deadline(command_.timeout), command_.interrupt);
        if (end_.reason != WatchedEnd::Reason::exited) {
            ::kill(-pid_, SIGTERM);
            static_cast<void>(readUntilExit(Deadline(graceAfterSigterm), -1));
            ::kill(-pid_, SIGKILL);
        }
        awaitExitWithoutReaping(pid_);
        ::kill(-pid_, SIGKILL);
        // Only what waits now: somebody who left the group with the pipe may write for ever.
        takeWhatWaits(output_, &Watched::readOutput);
        takeWhatWaits(error_, &Watched::readError);
        end_.status = reap(std::exchange(pid_, -1));
        return std::move(end_);
    }

  private:
    [[nodiscard]] WatchedEnd::Reason readUntilExit(const Deadline& deadline, int interrupt) {
        bool isOutputOpen = true;
        bool isErrorOpen = true;
        do {
            // poll(2) leaves out an entry whose descriptor is negative.
            pollfd watched[] = {
                {.fd = exit_.get(), .events = POLLIN, .revents = 0},
                {.fd = interrupt, .events = POLLIN, .revents = 0},
                {.fd = isOutputOpen ? output_.get() : -1, .events = POLLIN, .revents = 0},
                {.fd = isErrorOpen ? error_.get() : -1, .events = POLLIN, .revents = 0},
            };
            if (!deadline.poll(watched)) {
                continue;
            }
            if (watched[0].revents != 0) {
                return WatchedEnd::Reason::exited;
            }
            if (watched[1].revents != 0) {
                return WatchedEnd::Reason::interrupted;
            }
            isOutputOpen = watched[2].revents == 0 ? isOutputOpen : readOutput() > 0;
            isErrorOpen = watched[3].revents == 0 ? isErrorOpen : readError() > 0;
        } while (!deadline.isOver());
        return WatchedEnd::Reason::timedOut;
    }

    void takeWhatWaits(const UniqueFd& from, std::size_t (Watched::*read)()) {
        for (std::size_t left = bytesWaiting(from.get()); left > 0;) {
            const std::size_t count = (this->*read)();
            left = count == 0 ? 0 : left - std::min(left, count);
        }
    }

    // The number of bytes that were read; 0 when there are none.
    std::size_t readOutput() {
        const std::string_view piece = readPiece(output_);
        const auto kept = std::min(piece.size(), command_.mostOutput - end_.output.size());
        end_.output.append(piece.substr(0, kept));
        end_.isOutputWhole = end_.isOutputWhole && kept == piece.size();
        keepLast(piece);
        return piece.size();
    }

    std::size_t readError() {
        const std::string_view piece = readPiece(error_);
        keepLast(piece);
        return piece.size();
    }

    [[nodiscard]] std::string_view readPiece(const UniqueFd& from) {
        const long count = readSome(from.get(), piece_.data(), piece_.size());
        return {piece_.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
    }

    void keepLast(std::string_view piece) {
        end_.last.append(piece);
        if (end_.last.size() > command_.mostLast) {
            end_.last.erase(0, end_.last.size() - command_.mostLast);
        }
    }

    const WatchedCommand& command_;
    pid_t pid_ = -1;
    UniqueFd output_;
    UniqueFd error_;
    UniqueFd exit_;
    WatchedEnd end_;
    std::array<char, 16384> piece_{};
};

} // namespace

std::expected<WatchedEnd, LaunchError> runWatched(const WatchedCommand& command) {
    Watched watched(command);
    if (const int error = watched.start(); error != 0) {
        return std::unexpected(LaunchError{"cannot start " + command.executable.native(), error});
    }
    return watched.run();
}

} // namespace platform::posix
