// How a process hands over to one that it starts to take its place. A socket joins the two, which
// is the new one's standard input: the new one says that it is ready when everything is done that
// can go wrong, the old one answers that it is about to end, and then it ends. Of one that goes
// away before that the other learns by the socket.
#pragma once

#include "platform/Environment.h"
#include "platform/posix/UniqueFd.h"

#include <chrono>
#include <expected>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

namespace platform::appcast {

// Set in the new one; removed from its environment as soon as it was read.
inline constexpr const char* handOverVariable = "APPLICATION_TAKES_OVER";

// What either side gives the other.
inline constexpr std::chrono::seconds handOverPatience{20};

// The old one's side: starts the program in a session of its own, with this process's standard
// output and error, and blocks until it is ready. Otherwise says, for a user and without a full
// stop, why it is not within `patience`; then it was killed with its group and reaped. So it is
// soon after `isCancelled` says true, which is asked on this thread. Any thread.
[[nodiscard]] std::expected<void, std::string> handOverTo(const std::filesystem::path& program,
                                                          const Environment& environment,
                                                          std::chrono::milliseconds patience,
                                                          const std::function<bool()>& isCancelled);

// The new one's side.
class Predecessor {
  public:
    // Whoever started this process to take over, if anybody did. Changes environment and standard
    // input, so it comes before the first thread; once.
    [[nodiscard]] static Predecessor find();

    [[nodiscard]] bool isThere() const { return static_cast<bool>(socket_); }
    // Says that this process is ready, and waits for the answer. False when the other one has gone
    // without it, or gives none within `patience`: it was ended on purpose, and this process is not
    // to take its place.
    [[nodiscard]] bool agreesToGo(std::chrono::milliseconds patience);

  private:
    explicit Predecessor(posix::UniqueFd socket)
        : socket_(std::move(socket)) {}

    posix::UniqueFd socket_;
};

} // namespace platform::appcast
