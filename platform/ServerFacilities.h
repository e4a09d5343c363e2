// What running a server takes beyond platform/Headless.h, for a program that puts no whole
// NativePlatform together. Made on the main thread, once, and outliving everything that it lends;
// needs no display and no session.
#pragma once

#include "platform/Bundle.h"
#include "platform/ChildProcess.h"
#include "platform/CommandRunner.h"
#include "platform/Environment.h"
#include "platform/LoopbackPorts.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace platform {

class ServerFacilities {
  public:
    virtual ~ServerFacilities() = default;

    // Each as its own header promises, and for as long as this object lives.
    virtual ChildLauncher& childLauncher() = 0;
    virtual CommandRunner& commandRunner() = 0;
    virtual LoopbackPorts& loopbackPorts() = 0;
    virtual Bundle& bundle() = 0;
};

// The guardian is the auxiliary executable that ends a child's group with us. Trouble is one
// sentence; it arrives on an internal thread.
[[nodiscard]] std::unique_ptr<ServerFacilities>
makeServerFacilities(const Environment& environment, const std::string& guardianExecutable,
                     std::function<void(std::string_view)> onTrouble);

} // namespace platform
