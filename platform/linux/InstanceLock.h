// One instance for one folder of private data, on whatever session bus or display: a lock file
// (flock) in that folder, and beside it a Unix socket (SOCK_SEQPACKET) by which a second instance
// asks the holder to show itself. Both files are 0600 and belong to this user; each side checks
// the other's user id. The kernel drops the lock with its holder, so whatever a crashed instance
// left is no obstacle. Main thread only; the holder answers from GLib's default main context.
#pragma once

#include "platform/posix/UniqueFd.h"

#include <glib.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace platform::desktop {

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

    // While held: called for every request, with its token, on the main thread.
    void listen(std::function<void(std::string token)> onRequest);
    // From here on a second instance waits for the lock instead of being answered. The lock itself
    // goes with this object.
    void stopListening();

    // What failed when the lock was unavailable or the socket could not be made, one sentence.
    [[nodiscard]] const std::optional<std::string>& failure() const { return failure_; }

  private:
    enum class Reply { accepted, goingAway, silent };

    static gboolean onReadable(gint descriptor, GIOCondition condition, gpointer self);

    bool openFolder();
    [[nodiscard]] Reply ask(const std::string& token, std::chrono::milliseconds patience);
    void answerOne();
    void fail(const std::string& attempt, int errnoValue);

    std::filesystem::path folder_;
    posix::UniqueFd folderDescriptor_;
    posix::UniqueFd lock_;
    posix::UniqueFd socket_;
    guint watch_ = 0;
    std::function<void(std::string)> onRequest_;
    std::optional<std::string> failure_;
};

} // namespace platform::desktop
