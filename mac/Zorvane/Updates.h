// The launch step that makes the updater, for a build whose bundle is configured for updates.
// Main thread; the facilities outlive what is made.
#pragma once

#include "mac/Zorvane/LaunchSteps.h"
#include "platform/Bundle.h"
#include "platform/UpdateFramework.h"

namespace zorvane {

[[nodiscard]] decltype(LaunchSteps::makeUpdater) updaterStep(const platform::Bundle& bundle,
                                                             platform::UpdateFramework& framework);

} // namespace zorvane
