// Asks a launched server for its health until it echoes the launch's nonce, or until every try was
// used up: one request at a time, a pause after each that failed. Runs on the queue it is given
// and reports once, on that queue; a loop that was cancelled reports nothing more. The loop keeps
// itself alive while it runs; the facilities outlive it.
#pragma once

#include "platform/HttpClient.h"
#include "platform/Queues.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace zorvane {

// Whether a reply proves that our own server sent it: status 200 and a UTF-8 body that contains
// `"nonce":"NONCE"` to the letter. The JSON is not parsed, white space is not forgiven.
[[nodiscard]] bool isHealthyReply(const platform::HttpResult& reply, const std::string& nonce);

class HealthLoop : public std::enable_shared_from_this<HealthLoop> {
  public:
    struct Plan {
        std::string url;
        std::string nonce;
        int tries = 0;
        std::chrono::milliseconds interval{0}; // limit of each request, and the pause after it
    };

    HealthLoop(platform::HttpClient& http, platform::Queue& queue, Plan plan,
               std::function<void(bool healthy)> onEnd);

    void start();
    // Any thread. A request under way is not interrupted, its reply is ignored.
    void cancel() { cancelled_ = true; }

  private:
    void tryOnce();
    void judge(const platform::HttpResult& reply);

    platform::HttpClient& http_;
    platform::Queue& queue_;
    Plan plan_;
    std::function<void(bool)> onEnd_;
    std::atomic<bool> cancelled_ = false;
    int tried_ = 0; // touched on the queue only, one task at a time
};

} // namespace zorvane
