#include "mac/Tessel/Link/DeviceLink.h"

#include "mac/Tessel/Link/DeviceLinkAttempt.h"
#include "mac/Tessel/Link/DeviceLinkLifeline.h"
#include "mac/Tessel/Link/Generation.h"
#include "mac/Tessel/Link/HTTPDeviceLinkTransport.h"
#include "mac/Tessel/Link/VerifyUrl.h"
#include "mac/Tessel/Values/Precondition.h"

#include <utility>

namespace tessel {
namespace {

// A copy, so that a callback may replace itself.
template <typename Callback, typename... Arguments>
void call(Callback callback, const Arguments&... arguments) {
    if (callback) {
        callback(arguments...);
    }
}

} // namespace

std::shared_ptr<DeviceLink> DeviceLink::create(const Facilities& facilities,
                                               std::shared_ptr<const StateStore> store,
                                               std::string appName, MakeTransport makeTransport,
                                               OpenURL openURL) {
    if (!makeTransport) {
        makeTransport = [&http = facilities.http](const Url& origin) {
            return std::make_shared<HTTPDeviceLinkTransport>(origin, std::nullopt, http);
        };
    }
    if (!openURL) {
        openURL = [&workspace = facilities.workspace](const Url& url) {
            workspace.openUrl(std::string(url.buffer().data(), url.buffer().size()));
        };
    }
    return std::shared_ptr<DeviceLink>(new DeviceLink(facilities, std::move(store),
                                                      std::move(appName), std::move(makeTransport),
                                                      std::move(openURL)));
}

DeviceLink::DeviceLink(const Facilities& facilities, std::shared_ptr<const StateStore> store,
                       std::string appName, MakeTransport makeTransport, OpenURL openURL)
    : facilities_(facilities)
    , store_(std::move(store))
    , appName_(std::move(appName))
    , makeTransport_(std::move(makeTransport))
    , openURL_(std::move(openURL))
    , queue_(facilities.backgroundQueues.makeSerial("tessel.device-link",
                                                    platform::QualityOfService::userInitiated))
    , generation_(std::make_shared<Generation>())
    , lifeline_(std::make_shared<DeviceLinkLifeline>()) {}

DeviceLink::~DeviceLink() {
    generation_->advance();
    lifeline_->cut();
}

bool DeviceLink::isLinking() const {
    return std::holds_alternative<Starting>(state_) || std::holds_alternative<Waiting>(state_);
}

void DeviceLink::begin(const Url& serverOrigin, const std::optional<std::string>& deviceName) {
    precondition(facilities_.mainQueue.isMainThread(), "a device link begins on the main thread");
    const auto self = shared_from_this(); // whatever the callbacks do
    const auto generation = generation_->advance();
    setState(Starting{});
    auto name = deviceName
                    ? *deviceName
                    : appName_ + " on " + facilities_.host.computerName().value_or("this Mac");
    std::make_shared<DeviceLinkAttempt>(*this, serverOrigin, std::move(name), generation)->start();
}

void DeviceLink::cancel() {
    precondition(facilities_.mainQueue.isMainThread(),
                 "a device link is cancelled on the main thread");
    generation_->advance();
    setState(Idle{});
}

void DeviceLink::reopenApproval() {
    precondition(facilities_.mainQueue.isMainThread(),
                 "an approval page is opened on the main thread");
    if (const auto* const waiting = std::get_if<Waiting>(&state_)) {
        call(openURL_, Url(waiting->verifyUrl));
    }
}

std::optional<Url> DeviceLink::validatedVerifyURL(std::string_view verifyUrl,
                                                  const Url& serverOrigin) {
    return tessel::validatedVerifyURL(verifyUrl, serverOrigin);
}

void DeviceLink::setState(State state) {
    state_ = std::move(state);
    call(onChange);
}

void DeviceLink::report(const std::string& line) {
    call(onActivity, line);
}

void DeviceLink::showCode(const Waiting& waiting) {
    setState(waiting);
    report("Linking: confirm code " + waiting.code + " in your browser");
    call(openURL_, waiting.verifyUrl);
}

void DeviceLink::fail(const std::string& message) {
    setState(Failed{message});
    report(message);
}

void DeviceLink::finishLinked(const Credentials& credentials) {
    setState(Idle{});
    report("Linked as " + credentials.tokenName);
    call(onLinked, credentials);
}

} // namespace tessel
