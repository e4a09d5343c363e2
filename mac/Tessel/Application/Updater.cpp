#include "mac/Tessel/Application/Updater.h"

#include "mac/Tessel/Values/Url.h"
#include "platform/Base64.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tessel {
namespace {

bool isPublicKey(std::string_view text) {
    constexpr std::size_t ed25519KeyBytes = 32;
    const auto bytes = platform::decodeBase64(text);
    return bytes && bytes->size() == ed25519KeyBytes;
}

bool isHttpsUrl(std::string_view text) {
    const auto url = parseUrl(text);
    return url && urlScheme(*url) == "https";
}

} // namespace

bool Updater::isConfigured(const platform::Bundle& mainBundle) {
    return isConfigured(mainBundle.infoDictionary());
}

bool Updater::isConfigured(const platform::InfoDictionary& info) {
    const auto key = platform::infoString(info, "SUPublicEDKey");
    const auto feed = platform::infoString(info, "SUFeedURL");
    return key && isPublicKey(*key) && feed && isHttpsUrl(*feed);
}

Updater::Updater(platform::UpdateFramework& framework, std::function<bool()> isBusy)
    : isBusy_(std::move(isBusy)) {
    controller_ = framework.makeStandardController(*this);
    if (controller_) {
        controller_->setAutomaticallyChecksForUpdates(true);
        controller_->setAutomaticallyDownloadsUpdates(false);
    }
}

Updater::~Updater() = default;

void Updater::checkForUpdates() {
    deferredWhileBusy_ = false;
    if (controller_) {
        controller_->checkForUpdates();
    }
}

void Updater::checkNow() {
    if (controller_) {
        controller_->checkForUpdatesInBackground();
    }
}

void Updater::busyDidEnd() {
    if (std::exchange(deferredWhileBusy_, false) && controller_) {
        controller_->checkForUpdates();
    }
}

bool Updater::shouldHandleShowingScheduledUpdate(bool /*inImmediateFocus*/) {
    if (isBusy_()) {
        deferredWhileBusy_ = true;
        return false;
    }
    return true;
}

void Updater::willHandleShowingUpdate(bool /*handledByFramework*/) {}

} // namespace tessel
