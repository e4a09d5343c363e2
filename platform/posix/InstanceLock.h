// One instance for one folder of private data, on whatever session, bus or display, and wherever
// its executable lies: a lock file (flock) in that folder, and beside it a Unix socket by which a
// second instance asks the holder to show itself. Both files are 0600 and belong to this user; each
// side checks the other's user id. The kernel drops the lock with its holder, so whatever a crashed
// instance left is no obstacle. One thread at a time.
//
// On the socket the second instance says "reopen ", a token, and no more; the holder answers
// "accepted" or just closes.
#pragma once

#include "platform/posix/UniqueFd.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace platform::posix {

class InstanceLock {
  public:
    enum class Outcome {
        held,        // this instance is the one
        handedOver,  // another one is, and it has promised to show itself
        unreachable, // another one is, and it did not answer in time
        unavailable, // the folder cannot carry a lock; see failure()
    };

    // Whether some instance holds it at this moment; nothing is made or changed.
    [[nodiscard]] static bool isHeld(const std::filesystem::path& folder);

    explicit InstanceLock(std::filesystem::path folder);
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    // Blocks while a holder is on its way out (it holds the lock but no longer listens), at most
    // `patience`. `token` is handed to the holder with the request: the activation token that the
    // desktop gave this launch, or empty. A missing folder is made, 0700.
    [[nodiscard]] Outcome claim(const std::string& token, std::chrono::milliseconds patience);

    // For an instance that was started to follow the holder: blocks until the holder has gone, or
    // `patience` is over, without asking it for anything. Comes before claim().
    void waitForHolder(std::chrono::milliseconds patience);

    // While held: makes the socket, on which somebody has to watch for requests. False when it
    // cannot be made; see failure(). The function is called for every request, with its token.
    bool listen(std::function<void(std::string token)> onRequest);
    // To be watched for being readable; -1 while not listening.
    [[nodiscard]] int descriptor() const { return socket_.get(); }
    // Takes one request off the socket and answers it. The function that it is told to may destroy
    // this object.
    void answerOne();
    // From here on a second instance waits for the lock instead of being answered. The lock itself
    // goes with this object.
    void stopListening();

    // What failed when the lock was unavailable or the socket could not be made, one sentence.
    [[nodiscard]] const std::optional<std::string>& failure() const { return failure_; }

  private:
    enum class Reply { accepted, goingAway, silent };

    bool openFolder();
    [[nodiscard]] Reply ask(const std::string& token, std::chrono::milliseconds patience);
    void fail(const std::string& attempt, int errnoValue);

    std::filesystem::path folder_;
    UniqueFd folderDescriptor_;
    UniqueFd lock_;
    UniqueFd socket_;
    std::function<void(std::string)> onRequest_;
    std::optional<std::string> failure_;
};

} // namespace platform::posix
