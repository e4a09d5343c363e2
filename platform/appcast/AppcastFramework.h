// The update framework of systems without one: reads "SUFeedURL" and "SUPublicEDKey" from the
// bundle's Info dictionary, as Sparkle does, and drives updates from that feed (UpdateDriver.h).
// No controller, and a line in the log, for a process outside a bundle and for a bundle whose feed
// is not https or whose key is none. Main thread only; everything given outlives the controllers.
#pragma once

#include "platform/Bundle.h"
#include "platform/appcast/UpdateDriver.h"

#include <memory>

namespace platform::appcast {

struct AppcastOptions {
    SystemDescription system;
    ReadInfo readInfo; // of an unpacked bundle; called on background threads
};

class AppcastFramework final : public UpdateFramework {
  public:
    AppcastFramework(const UpdateFacilities& facilities, const Bundle& bundle,
                     AppcastOptions options);

    [[nodiscard]] std::unique_ptr<UpdateController>
    makeStandardController(UpdateDelegate& delegate) override;

  private:
    UpdateFacilities facilities_;
    const Bundle& bundle_;
    AppcastOptions options_;
};

} // namespace platform::appcast
