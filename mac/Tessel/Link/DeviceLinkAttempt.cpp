#include "mac/Tessel/Link/DeviceLinkAttempt.h"

#include "mac/Tessel/Link/VerifyUrl.h"

#include <utility>

namespace tessel {
namespace {

using std::chrono::milliseconds;

std::chrono::nanoseconds pauseFor(std::optional<double> interval) {
    constexpr double shortest = 1.0;
    constexpr double longest = 365.0 * 24 * 60 * 60; // what a clock can count for sure
    const double asked = interval.value_or(3.0);
    const double seconds = asked > shortest ? std::min(asked, longest) : shortest; // NaN: shortest
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(seconds));
}

Timestamp expiryOf(const std::string& expiresAt, platform::WallTime now) {
    constexpr std::chrono::seconds usual{600};
    return parseInternetDateTime(expiresAt).value_or(std::chrono::floor<milliseconds>(now) + usual);
}

} // namespace

DeviceLinkAttempt::DeviceLinkAttempt(DeviceLink& link, Url origin, std::string deviceName,
                                     std::int64_t generation)
    : link_(link.weak_from_this())
    , generations_(link.generation_)
    , generation_(generation)
    , lifeline_(link.lifeline_)
    , transport_(link.makeTransport_(origin))
    , queue_(link.queue_)
    , mainQueue_(link.facilities_.mainQueue)
    , clock_(link.facilities_.clock)
    , store_(link.store_)
    , appName_(link.appName_)
    , origin_(std::move(origin))
    , deviceName_(std::move(deviceName)) {
    lifeline_->watch(transport_);
}

void DeviceLinkAttempt::start() {
    queue_->post([self = shared_from_this()] { self->run(); });
}

void DeviceLinkAttempt::publish(std::function<void(DeviceLink&)> change) {
    platform::Task task = [self = shared_from_this(), change = std::move(change)] {
        const auto link = self->link_.lock();
        if (link && self->isCurrent()) {
            change(*link);
        }
    };
    lifeline_->use([&] { mainQueue_.post(std::move(task)); });
}

void DeviceLinkAttempt::finish(std::string message) {
    publish([message = std::move(message)](DeviceLink& link) { link.fail(message); });
}

void DeviceLinkAttempt::run() {
    if (link_.expired()) {
        return;
    }
    const auto reply = transport_->startLink(deviceName_);
    if (!reply) {
        finish("Could not start linking: " + reply.error().description());
        return;
    }
    const auto verifyUrl = validatedVerifyURL(reply->verifyUrl, origin_);
    if (!verifyUrl) {
        finish("The server sent an unexpected verify URL");
        return;
    }
    acceptCode(*reply, *verifyUrl);
}

void DeviceLinkAttempt::acceptCode(const DeviceLinkStartResponse& reply, const Url& verifyUrl) {
    pollToken_ = reply.pollToken;
    lifeline_->use([&] { expiry_ = expiryOf(reply.expiresAt, clock_.wallNow()); });
    pause_ = pauseFor(reply.interval);
    publish([waiting = DeviceLink::Waiting{reply.code, expiry_, verifyUrl}](DeviceLink& link) {
        link.showCode(waiting);
    });
    if (isCurrent()) {
        pauseBeforePoll();
    }
}

void DeviceLinkAttempt::pauseBeforePoll() {
    bool hasExpired = false;
    lifeline_->use([&] {
        // Rounded up: later by any fraction is later. Seconds of the year 9999 do not fit in the
        // clock's own unit, so the clock comes to them.
        hasExpired = std::chrono::ceil<milliseconds>(clock_.wallNow()) > expiry_;
        if (!hasExpired) {
            queue_->postAfter(pause_, [self = shared_from_this()] { self->poll(); });
        }
    });
    if (hasExpired) {
        finish("The link code expired. Try again.");
    }
}

void DeviceLinkAttempt::poll() {
    if (!isCurrent()) {
        return;
    }
    const auto reply = transport_->pollLink(pollToken_);
    if (reply && reply->status != "pending") {
        conclude(*reply);
    } else if (isCurrent()) {
        pauseBeforePoll();
    }
}

void DeviceLinkAttempt::conclude(const DeviceLinkPollResponse& reply) {
    if (reply.status != "approved") {
        finish("The link expired before it was approved. Try again.");
        return;
    }
    if (reply.token.value_or("").empty()) {
        finish("The server approved the link but sent no token");
        return;
    }
    Credentials credentials{.token = *reply.token,
                            .serverOrigin = {origin_.buffer().data(), origin_.buffer().size()},
                            .tokenName = reply.tokenName.value_or(appName_),
                            .linkedAt = {}};
    lifeline_->use([&] {
        credentials.linkedAt = std::chrono::floor<milliseconds>(clock_.wallNow());
        store_->saveCredentials(credentials);
    });
    publish([credentials = std::move(credentials)](DeviceLink& link) {
        link.finishLinked(credentials);
    });
}

} // namespace tessel
