// The update framework on macOS: Sparkle 2, loaded from the bundle's Frameworks folder the first
// time it is asked for. A bundle without it has no updater, which is logged; there is no link-time
// dependency. Main thread only.
#pragma once

#include "platform/Log.h"
#include "platform/UpdateFramework.h"
#include "platform/cocoa/RequireArc.h"

#import <Foundation/Foundation.h>

namespace platform::cocoa {

class SparkleUpdateFramework final : public UpdateFramework {
  public:
    SparkleUpdateFramework(NSBundle* bundle, Log& log);

    [[nodiscard]] std::unique_ptr<UpdateController>
    makeStandardController(UpdateDelegate& delegate) override;

  private:
    NSBundle* bundle_;
    Log& log_;
};

} // namespace platform::cocoa
