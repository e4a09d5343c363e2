#include "platform/testing/FakeDesktopServices.h"

#include <utility>

namespace platform::testing {
namespace {

class FakeUpdateController final : public UpdateController {
  public:
    explicit FakeUpdateController(Events& events)
        : events_(events) {}

    void checkForUpdates() override { events_.emplace_back("check for updates"); }
    void checkForUpdatesInBackground() override { events_.emplace_back("check in background"); }
    void setAutomaticallyChecksForUpdates(bool automatically) override {
        events_.emplace_back(automatically ? "automatic checks on" : "automatic checks off");
    }
    void setAutomaticallyDownloadsUpdates(bool automatically) override {
        events_.emplace_back(automatically ? "automatic downloads on" : "automatic downloads off");
    }

  private:
    Events& events_;
};

} // namespace

std::size_t FakeAlerts::runModal(const Alert& alert) {
    events_.push_back("alert " + alert.message);
    shown.push_back(alert);
    if (answers.empty()) {
        return 0;
    }
    const std::size_t answer = answers.front();
    answers.pop_front();
    return answer;
}

void FakeWorkspace::openUrl(const std::string& url) {
    events_.push_back("open " + url);
    opened.push_back(url);
}

void FakeWorkspace::openNewInstance(const std::filesystem::path& bundle,
                                    std::function<void(OpenResult)> completion) {
    events_.push_back("open new instance " + bundle.string());
    openCompletion = std::move(completion);
}

std::expected<void, std::string> FakeLoginService::registerApplication(RegistrationReason reason) {
    const bool isDefault = reason == RegistrationReason::byDefault;
    events_.emplace_back(isDefault ? "register at login by default" : "register at login");
    if (failure) {
        return std::unexpected(*failure);
    }
    if (isDefault && current == LoginServiceStatus::requiresApproval) {
        return std::unexpected("the user has switched it off");
    }
    current = LoginServiceStatus::enabled;
    return {};
}

std::expected<void, std::string> FakeLoginService::unregisterApplication() {
    events_.emplace_back("unregister at login");
    if (failure) {
        return std::unexpected(*failure);
    }
    current = LoginServiceStatus::notRegistered;
    return {};
}

std::expected<void, FileError>
FakeFolderTree::replaceWithCopy(const std::filesystem::path& source,
                                const std::filesystem::path& destination) {
    events_.push_back("copy " + source.string() + " to " + destination.string());
    if (failure) {
        return std::unexpected(*failure);
    }
    return {};
}

void FakeFolderTree::clearLeftovers(const std::filesystem::path& destination) {
    events_.push_back("clear leftovers of " + destination.string());
}

std::unique_ptr<UpdateController>
FakeUpdateFramework::makeStandardController(UpdateDelegate& given) {
    events_.emplace_back("start updater");
    if (!present) {
        return nullptr;
    }
    delegate = &given;
    return std::make_unique<FakeUpdateController>(events_);
}

} // namespace platform::testing
