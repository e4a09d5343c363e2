// What a launch of the server needs to know beforehand: a loopback port, a secret, the server's
// executable and the media tools. PortPicker keeps the port the same across launches, so that
// bookmarks stay valid; Nonce makes the secret that the server must echo; the two locators are
// pure functions of what they are given. Nothing here keeps state of its own, and every function
// may be called on any thread.
#pragma once

#include "platform/Environment.h"
#include "platform/LoopbackPorts.h"
#include "platform/RandomSource.h"
#include "platform/UserDefaults.h"

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostra {

// Whether something is at that path.
using FileExists = std::function<bool(const std::filesystem::path&)>;

struct PortPicker {
    // The user default that remembers the port; absent reads as 0.
    static constexpr std::string_view savedPortKey = "app.zorvane.sidecarPort";

    // Which call failed, with its errno value.
    struct PortError {
        enum class Kind { socketFailed, bindFailed, getsocknameFailed };
        Kind kind = Kind::socketFailed;
        std::int32_t errnoValue = 0;

        // One sentence without a full stop, fit for a user.
        [[nodiscard]] std::string description() const;
        bool operator==(const PortError&) const = default;
    };

    // The saved port if it lies in 1025...65535 and can be bound right now; otherwise a free port,
    // which is then saved. The port is free at the moment of the call, not reserved.
    [[nodiscard]] static std::expected<std::uint16_t, PortError>
    pickStablePort(platform::UserDefaults& defaults, platform::LoopbackPorts& ports);

    // A port of the system's choice.
    [[nodiscard]] static std::expected<std::uint16_t, PortError>
    pickFreePort(platform::LoopbackPorts& ports);

    // The next pickStablePort() chooses afresh.
    static void forgetStablePort(platform::UserDefaults& defaults);
};

struct Nonce {
    // Of the server's environment, with the secret.
    static constexpr std::string_view environmentVariable = "MEDIASERVER_HEALTH_NONCE";

    // 32 lower-case hexadecimal digits: 16 bytes of the secure source, or of the language
    // runtime's generator when that source fails.
    [[nodiscard]] static std::string make(platform::RandomSource& random);
};

struct SidecarLocator {
    // The environment variable that names another server.
    static constexpr std::string_view overrideKey = "OSTRA_SIDECAR";

    // The server's executable: the override if it is set and not empty, whether or not something
    // is there; else the bundle's; else the development layout's; else nothing.
    [[nodiscard]] static std::optional<std::filesystem::path>
    resolve(const platform::Environment& environment,
            const std::optional<std::filesystem::path>& auxiliaryExecutable,
            const std::filesystem::path& packageRoot, const FileExists& fileExists);
};

struct MediaToolLocator {
    // The tool's executable: inside the application first (`bin` below the resources, the
    // resources, `bin` beside the executable, beside the executable), then the fallbacks.
    [[nodiscard]] static std::optional<std::filesystem::path>
    resolve(std::string_view name, const std::optional<std::filesystem::path>& resourceRoot,
            const std::optional<std::filesystem::path>& executableDirectory,
            const std::vector<std::filesystem::path>& fallbackPaths, const FileExists& fileExists);
};

} // namespace ostra
