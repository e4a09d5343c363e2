#include "platform/appcast/AppcastFramework.h"

#include "platform/Base64.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

namespace platform::appcast {
namespace {

class AppcastController final : public UpdateController {
  public:
    explicit AppcastController(std::shared_ptr<UpdateDriver> driver)
        : driver_(std::move(driver)) {}
    AppcastController(const AppcastController&) = delete;
    AppcastController& operator=(const AppcastController&) = delete;
    ~AppcastController() override { driver_->stop(); }

    void checkForUpdates() override { driver_->checkForUpdates(); }
    void checkForUpdatesInBackground() override { driver_->checkInBackground(); }
    void setAutomaticallyChecksForUpdates(bool automatically) override {
        driver_->setAutomaticallyChecks(automatically);
    }
    // This driver has no automatic downloads that could be switched on.
    void setAutomaticallyDownloadsUpdates(bool /*automatically*/) override {}

  private:
    std::shared_ptr<UpdateDriver> driver_;
};

std::optional<PublicKey> publicKeyIn(const std::string& text) {
    const auto bytes = decodeBase64(text);
    PublicKey key{};
    if (!bytes || bytes->size() != key.size()) {
        return std::nullopt;
    }
    std::ranges::copy(*bytes, key.begin());
    return key;
}

} // namespace

AppcastFramework::AppcastFramework(const UpdateFacilities& facilities, const Bundle& bundle,
                                   AppcastOptions options)
    : facilities_(facilities)
    , bundle_(bundle)
    , options_(std::move(options)) {}

std::unique_ptr<UpdateController>
AppcastFramework::makeStandardController(UpdateDelegate& delegate) {
    const auto text = [this](std::string_view key) {
        return bundle_.infoString(key).value_or(std::string());
    };
    const auto folder = bundle_.bundlePath();
    const auto key = publicKeyIn(text("SUPublicEDKey"));
    const auto feed = text("SUFeedURL");
    const auto version = text("CFBundleVersion");
    if (!folder || !key || !feed.starts_with("https://") || version.empty()) {
        facilities_.log.write("no updates: the bundle is not configured for them");
        return nullptr;
    }
    const auto displayVersion = text("CFBundleShortVersionString");
    return std::make_unique<AppcastController>(
        UpdateDriver::start(facilities_,
                            {.name = text("CFBundleName"),
                             .identifier = text("CFBundleIdentifier"),
                             .version = version,
                             .displayVersion = displayVersion.empty() ? version : displayVersion,
                             .bundle = *folder,
                             .program = bundle_.executablePath(),
                             .feedUrl = feed,
                             .key = *key,
                             .system = options_.system,
                             .readInfo = options_.readInfo},
                            delegate));
}

} // namespace platform::appcast
