// Finds, on this machine, the server executable to launch and the media tools to hand to it. The
// bundle's server gives way to a newer one that an update has staged in the user's Application
// Support folder, after both have answered "-version"; an override never does. Main thread: each
// "-version" probe blocks the caller for up to 3 s. Owned by the supervisor; the facilities
// outlive it.
#pragma once

#include "platform/Bundle.h"
#include "platform/CommandRunner.h"
#include "platform/Environment.h"
#include "platform/FileSystem.h"
#include "platform/Log.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zorvane {

class SidecarResolver {
  public:
    struct Facilities {
        platform::Bundle& bundle;
        platform::CommandRunner& commands;
        platform::FileSystem& files;
        platform::Log& log;
    };

    static constexpr std::chrono::milliseconds versionProbeLimit{3000};

    SidecarResolver(Facilities facilities, platform::Environment environment);

    // The executable to launch, or nothing when there is no server anywhere.
    [[nodiscard]] std::optional<std::filesystem::path> resolveSidecar();
    // The staged server to use instead of the bundle's, if one is newer and proves it.
    [[nodiscard]] std::optional<std::filesystem::path>
    preferStagedPayload(const std::filesystem::path& bundled);
    // The folder `bin` of our Application Support folder; neither is created.
    [[nodiscard]] std::optional<std::filesystem::path> stagedBinDirectory();
    // What the executable prints for "-version", trimmed; nothing unless it exits with status 0
    // in time and prints some UTF-8 text.
    [[nodiscard]] std::optional<std::string> probeVersion(const std::filesystem::path& executable);
    // (flag, absolute path) of each media tool that was found.
    [[nodiscard]] std::vector<std::pair<std::string, std::string>> mediaToolArguments() const;

  private:
    [[nodiscard]] bool fileExists(const std::filesystem::path& path) const;

    Facilities facilities_;
    platform::Environment environment_;
};

} // namespace zorvane
