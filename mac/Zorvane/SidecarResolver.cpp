#include "mac/Zorvane/SidecarResolver.h"

#include "mac/OstraCore/SidecarConfig.h"
#include "mac/OstraCore/StagedPayloads.h"
#include "mac/Zorvane/DataPaths.h"
#include "platform/Utf8.h"

#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <string_view>

namespace zorvane {
namespace {

struct MediaTool {
    std::string_view flag;
    std::string_view name;
};

constexpr std::array<MediaTool, 3> mediaTools{{
    {"-ffmpeg", "ffmpeg"},
    {"-ffprobe", "ffprobe"},
    {"-fpcalc", "fpcalc"},
}};

constexpr std::array<std::string_view, 2> toolFallbackFolders{"/opt/homebrew/bin",
                                                              "/usr/local/bin"};

// More than this is no version; the program then stalls on its full pipe until the limit.
constexpr std::size_t longestVersionOutput = std::size_t{64} * 1024;

} // namespace

SidecarResolver::SidecarResolver(Facilities facilities, platform::Environment environment)
    : facilities_(facilities)
    , environment_(std::move(environment)) {}

bool SidecarResolver::fileExists(const std::filesystem::path& path) const {
    return facilities_.files.fileExists(path);
}

std::optional<std::filesystem::path> SidecarResolver::resolveSidecar() {
    const auto bundled = facilities_.bundle.auxiliaryExecutable("ostrad");
    const auto found = ostra::SidecarLocator::resolve(
        environment_, bundled, facilities_.files.currentFolder(),
        [this](const std::filesystem::path& path) { return fileExists(path); });
    // An override stays what the user chose, even where it names the bundle's own server.
    const auto chosen = environment_.find(std::string(ostra::SidecarLocator::overrideKey));
    const bool overridden = chosen != environment_.end() && !chosen->second.empty();
    if (!found || found != bundled || overridden) {
        return found;
    }
    const auto staged = preferStagedPayload(*bundled);
    return staged ? staged : bundled;
}

std::optional<std::filesystem::path>
SidecarResolver::preferStagedPayload(const std::filesystem::path& bundled) {
    using ostra::StagedPayloads;
    const auto folder = stagedBinDirectory();
    if (!folder) {
        return std::nullopt;
    }
    const auto names = facilities_.files.fileNames(*folder);
    if (!names || names->empty()) {
        return std::nullopt;
    }
    const auto bundledVersion = probeVersion(bundled);
    if (!bundledVersion) {
        facilities_.log.write("staged payloads present but bundled ostrad reports no -version; "
                              "using the bundle");
        return std::nullopt;
    }
    const auto best =
        StagedPayloads::pickBest(*names, *bundledVersion, StagedPayloads::defaultPrefix);
    if (!best) {
        return std::nullopt;
    }
    const std::filesystem::path staged = *folder / best->name;
    if (probeVersion(staged) == best->version) {
        facilities_.log.write(
            fmt::format("using staged ostrad {} (bundled is {})", best->version, *bundledVersion));
        return staged;
    }
    facilities_.log.write(
        fmt::format("staged payload {} failed its -version probe; using bundled {}", best->name,
                    *bundledVersion));
    return std::nullopt;
}

std::optional<std::filesystem::path> SidecarResolver::stagedBinDirectory() {
    const auto support = facilities_.files.applicationSupportFolder(false);
    if (!support) {
        return std::nullopt;
    }
    return *support / dataFolderName / "bin";
}

std::optional<std::string> SidecarResolver::probeVersion(const std::filesystem::path& executable) {
    const auto answer =
        facilities_.commands.run(executable, {"-version"}, versionProbeLimit, longestVersionOutput);
    if (!answer || !answer->status.succeeded() || !platform::isValidUtf8(answer->output)) {
        return std::nullopt;
    }
    const std::string_view version = platform::trimmed(answer->output);
    return version.empty() ? std::nullopt : std::optional(std::string(version));
}

std::vector<std::pair<std::string, std::string>> SidecarResolver::mediaToolArguments() const {
    const auto resources = facilities_.bundle.resourcesPath();
    const std::filesystem::path executables = facilities_.bundle.executablePath().parent_path();
    std::vector<std::pair<std::string, std::string>> arguments;
    for (const MediaTool& tool : mediaTools) {
        std::vector<std::filesystem::path> fallbacks;
        fallbacks.reserve(toolFallbackFolders.size());
        for (const std::string_view folder : toolFallbackFolders) {
            fallbacks.push_back(std::filesystem::path(folder) / tool.name);
        }
        const auto found = ostra::MediaToolLocator::resolve(
            tool.name, resources, executables, fallbacks,
            [this](const std::filesystem::path& path) { return fileExists(path); });
        if (found) {
            arguments.emplace_back(tool.flag, found->string());
        }
    }
    return arguments;
}

} // namespace zorvane
