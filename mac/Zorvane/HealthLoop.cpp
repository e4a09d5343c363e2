#include "mac/Zorvane/HealthLoop.h"

#include "platform/Utf8.h"

#include <cstddef>
#include <utility>

namespace zorvane {
namespace {

// A health reply is a line of JSON; a server that sends more than this is not ours.
constexpr std::size_t longestHealthReply = std::size_t{256} * 1024;

} // namespace

bool isHealthyReply(const platform::HttpResult& reply, const std::string& nonce) {
    return reply && reply->status == 200 && platform::isValidUtf8(reply->body) &&
           reply->body.contains("\"nonce\":\"" + nonce + "\"");
}

HealthLoop::HealthLoop(platform::HttpClient& http, platform::Queue& queue, Plan plan,
                       std::function<void(bool)> onEnd)
    : http_(http)
    , queue_(queue)
    , plan_(std::move(plan))
    , onEnd_(std::move(onEnd)) {}

void HealthLoop::start() {
    queue_.post([self = shared_from_this()] { self->tryOnce(); });
}

void HealthLoop::tryOnce() {
    if (cancelled_) {
        return;
    }
    if (tried_ == plan_.tries) {
        onEnd_(false);
        return;
    }
    ++tried_;
    platform::HttpRequest request;
    request.url = plan_.url;
    request.headers = {{"Cache-Control", "no-cache"}};
    request.timeout = plan_.interval;
    request.maxBodyBytes = longestHealthReply;
    http_.send(std::move(request), [self = shared_from_this()](platform::HttpResult reply) {
        self->queue_.post([self, reply = std::move(reply)] { self->judge(reply); });
    });
}

void HealthLoop::judge(const platform::HttpResult& reply) {
    if (cancelled_) {
        return;
    }
    if (isHealthyReply(reply, plan_.nonce)) {
        onEnd_(true);
        return;
    }
    queue_.postAfter(plan_.interval, [self = shared_from_this()] { self->tryOnce(); });
}

} // namespace zorvane
