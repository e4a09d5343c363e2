#include "mac/OstraCore/SidecarConfig.h"

#include "platform/ErrnoText.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <random>
#include <span>

namespace ostra {
namespace {

PortPicker::PortError portError(const platform::PortFailure& failure) {
    using Kind = PortPicker::PortError::Kind;
    using Stage = platform::PortFailure::Stage;
    const Kind kind = failure.stage == Stage::socket ? Kind::socketFailed
                      : failure.stage == Stage::bind ? Kind::bindFailed
                                                     : Kind::getsocknameFailed;
    return {kind, failure.errnoValue};
}

void fillFromRuntime(std::span<std::byte> bytes) {
    std::random_device device;
    std::uniform_int_distribution<unsigned> anyByte(0, 255);
    std::ranges::generate(bytes, [&] { return static_cast<std::byte>(anyByte(device)); });
}

} // namespace

std::string PortPicker::PortError::description() const {
    const std::string_view attempt =
        kind == Kind::socketFailed ? "no socket could be made to choose a port"
        : kind == Kind::bindFailed ? "no port on 127.0.0.1 could be bound"
                                   : "the chosen port could not be read back";
    return fmt::format("{}: {} (errno {})", attempt, platform::errnoText(errnoValue), errnoValue);
}

std::expected<std::uint16_t, PortPicker::PortError>
PortPicker::pickStablePort(platform::UserDefaults& defaults, platform::LoopbackPorts& ports) {
    const std::int64_t saved = defaults.integer(savedPortKey);
    if (saved >= 1025 && saved <= 65535) {
        const auto port = static_cast<std::uint16_t>(saved);
        if (ports.tryBind(port)) {
            return port;
        }
    }
    const auto port = pickFreePort(ports);
    if (port) {
        defaults.setInteger(savedPortKey, *port);
    }
    return port;
}

std::expected<std::uint16_t, PortPicker::PortError>
PortPicker::pickFreePort(platform::LoopbackPorts& ports) {
    const auto port = ports.tryBind(0);
    if (!port) {
        return std::unexpected(portError(port.error()));
    }
    return *port;
}

void PortPicker::forgetStablePort(platform::UserDefaults& defaults) {
    defaults.remove(savedPortKey);
}

std::string Nonce::make(platform::RandomSource& random) {
    std::array<std::byte, 16> bytes{};
    if (!random.fill(bytes)) {
        fillFromRuntime(bytes);
    }
    std::string nonce;
    for (const std::byte byte : bytes) {
        nonce += fmt::format("{:02x}", std::to_integer<unsigned>(byte));
    }
    return nonce;
}

std::optional<std::filesystem::path>
SidecarLocator::resolve(const platform::Environment& environment,
                        const std::optional<std::filesystem::path>& auxiliaryExecutable,
                        const std::filesystem::path& packageRoot, const FileExists& fileExists) {
    const auto named = environment.find(std::string(overrideKey));
    if (named != environment.end() && !named->second.empty()) {
        return named->second;
    }
    if (auxiliaryExecutable && fileExists(*auxiliaryExecutable)) {
        return auxiliaryExecutable;
    }
    const std::filesystem::path development =
        (packageRoot / ".." / "data" / "quillon").lexically_normal();
    if (fileExists(development)) {
        return development;
    }
    return std::nullopt;
}

std::optional<std::filesystem::path> MediaToolLocator::resolve(
    std::string_view name, const std::optional<std::filesystem::path>& resourceRoot,
    const std::optional<std::filesystem::path>& executableDirectory,
    const std::vector<std::filesystem::path>& fallbackPaths, const FileExists& fileExists) {
    std::vector<std::filesystem::path> candidates;
    const auto add = [&candidates](const std::filesystem::path& path) {
        if (std::ranges::find(candidates, path) == candidates.end()) {
            candidates.push_back(path);
        }
    };
    for (const auto& root : {resourceRoot, executableDirectory}) {
        if (root) {
            add(*root / "bin" / name);
            add(*root / name);
        }
    }
    candidates.insert(candidates.end(), fallbackPaths.begin(), fallbackPaths.end());
    const auto found = std::ranges::find_if(candidates, fileExists);
    return found == candidates.end() ? std::nullopt : std::optional(*found);
}

} // namespace ostra
