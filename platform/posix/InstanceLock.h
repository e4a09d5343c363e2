// One instance for one folder of private data, on whatever session, bus or display, and wherever
// its executable lies: a lock file (flock) in that folder, and beside it a Unix socket by which a
// second instance asks the holder to show itself. Both files are 0600 and belong to this user; each
// side checks the other's user id. The kernel drops the lock with its holder, so whatever a crashed
// instance left is no obstacle. One thread at a time.
//
// The lock file says where its holder is, in words of the caller's. On the socket the second
// instance says "reopen ", a token, and no more; the holder answers "accepted" or just closes. One
// that would not see what the holder shows says "displaced"; the holder answers "stays", or closes
// because it ends soon.
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
        elsewhere,   // another one is, where nobody here sees it; see holder()
        unreachable, // another one is, and it did not answer in time; see holder()
        unavailable, // the folder cannot carry a lock; see failure()
    };

    struct Place {
        std::string text = {}; // of this instance, at most 8 KiB; empty: not written
        // Whether the user of this instance sees what a holder with that text shows; without it,
        // and of a holder that says nothing, yes.
        std::function<bool(const std::string& holder)> sees = {};
    };

    // Whether some instance holds it at this moment; nothing is made or changed.
    [[nodiscard]] static bool isHeld(const std::filesystem::path& folder);

    explicit InstanceLock(std::filesystem::path folder);
    InstanceLock(std::filesystem::path folder, Place place);
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
    // cannot be made; see failure(). The first function is called for every request, with its
    // token. The second, for an instance elsewhere that wants the lock: false when this one is of
    // no use any more where it is, and ends soon. It does not block; without it this one stays.
    bool listen(std::function<void(std::string token)> onRequest, std::function<bool()> stays = {});
    // To be watched for being readable; -1 while not listening.
    [[nodiscard]] int descriptor() const { return socket_.get(); }
    // Takes one request off the socket and answers it. The function that it is told to may destroy
    // this object.
    void answerOne();
    // From here on a second instance waits for the lock instead of being answered. The lock itself
    // goes with this object.
    void stopListening();

    // What the one that has the lock says of its place; empty when it says nothing.
    [[nodiscard]] const std::string& holder() const { return holder_; }
    // What failed when the lock was unavailable or the socket could not be made, one sentence.
    [[nodiscard]] const std::optional<std::string>& failure() const { return failure_; }

  private:
    enum class Reply { accepted, stays, goingAway, silent };

    bool openFolder();
    void sayWhere() const;
    void findHolder();
    [[nodiscard]] Reply ask(const std::string& request, std::chrono::milliseconds patience);
    void fail(const std::string& attempt, int errnoValue);

    std::filesystem::path folder_;
    Place place_;
    std::string holder_;
    UniqueFd folderDescriptor_;
    UniqueFd lock_;
    UniqueFd socket_;
    std::function<void(std::string)> onRequest_;
    std::function<bool()> stays_;
    std::optional<std::string> failure_;
};

} // namespace platform::posix
