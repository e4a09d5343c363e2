#include "mac/Zorvane/Updates.h"

#include "mac/Tessel/Application/Updater.h"

#include <memory>
#include <utility>

namespace zorvane {
namespace {

class BundleUpdates final : public UpdateChecker {
  public:
    BundleUpdates(platform::UpdateFramework& framework, std::function<bool()> isBusy)
        : updater_(framework, std::move(isBusy)) {}

    void checkForUpdates() override { updater_.checkForUpdates(); }

  private:
    tessel::Updater updater_;
};

} // namespace

decltype(LaunchSteps::makeUpdater) updaterStep(const platform::Bundle& bundle,
                                               platform::UpdateFramework& framework) {
    return [&bundle, &framework](std::function<bool()> isBusy) -> std::unique_ptr<UpdateChecker> {
        if (!tessel::Updater::isConfigured(bundle)) {
            return nullptr;
        }
        return std::make_unique<BundleUpdates>(framework, std::move(isBusy));
    };
}

} // namespace zorvane
