#include "platform/linux/AutostartLoginService.h"

#include "platform/ErrnoText.h"
#include "platform/posix/ReadFile.h"
#include "platform/posix/ReplaceFile.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform {
namespace {

constexpr std::size_t largestEntry = std::size_t{64} << 10;

std::filesystem::path entryIn(const std::filesystem::path& configFolder, const std::string& id) {
    return configFolder / "autostart" / (id + ".desktop");
}

} // namespace

AutostartLoginService::AutostartLoginService(Options options, const XdgFolders& folders,
                                             Environment environment, FileSystem& files)
    : options_(std::move(options))
    , environment_(std::move(environment))
    , userEntry_(entryIn(folders.configHome, options_.applicationId))
    , files_(files) {
    for (const std::filesystem::path& folder : folders.configFolders) {
        systemEntries_.push_back(entryIn(folder, options_.applicationId));
    }
}

// Nothing when there is no such entry.
std::optional<AutostartVerdict>
AutostartLoginService::verdict(const std::filesystem::path& entry) const {
    const auto content = posix::readFile(entry, largestEntry);
    if (content) {
        return judgeAutostart(*content, options_.executable, environment_);
    }
    const bool isAbsent = content.error() == ENOENT || content.error() == ENOTDIR;
    return isAbsent ? std::nullopt : std::optional(AutostartVerdict::broken);
}

std::optional<AutostartVerdict> AutostartLoginService::systemVerdict() const {
    for (const std::filesystem::path& entry : systemEntries_) {
        if (const auto found = verdict(entry)) {
            return found;
        }
    }
    return std::nullopt;
}

LoginServiceStatus AutostartLoginService::status() const {
    const auto own = verdict(userEntry_);
    switch (own.value_or(systemVerdict().value_or(AutostartVerdict::another))) {
    case AutostartVerdict::starts:
        return LoginServiceStatus::enabled;
    case AutostartVerdict::switchedOff:
        return own ? LoginServiceStatus::requiresApproval : LoginServiceStatus::notRegistered;
    case AutostartVerdict::another:
        return LoginServiceStatus::notRegistered;
    case AutostartVerdict::broken:
        break;
    }
    return LoginServiceStatus::notFound;
}

std::expected<void, std::string>
AutostartLoginService::registerApplication(RegistrationReason reason) {
    if (reason == RegistrationReason::byDefault &&
        status() == LoginServiceStatus::requiresApproval) {
        return std::unexpected(
            fmt::format("the user has switched it off ({})", userEntry_.native()));
    }
    return write(autostartEntry({.name = options_.name,
                                 .executable = options_.executable,
                                 .icon = options_.applicationId}));
}

std::expected<void, std::string> AutostartLoginService::unregisterApplication() {
    const auto system = systemVerdict();
    if (system == AutostartVerdict::starts || system == AutostartVerdict::another) {
        return write(hidingAutostartEntry(options_.name));
    }
    if (::unlink(userEntry_.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR) {
        return std::unexpected(
            fmt::format("cannot remove {}: {}", userEntry_.native(), errnoText(errno)));
    }
    return {};
}

std::expected<void, std::string> AutostartLoginService::write(const std::string& content) {
    constexpr mode_t ownerOnly = 0700;
    if (const auto made = files_.createFolders(userEntry_.parent_path(), ownerOnly); !made) {
        return std::unexpected(made.error().description());
    }
    if (const auto written = posix::replaceFile(userEntry_, content); !written) {
        return std::unexpected(
            fmt::format("cannot write {}: {}", userEntry_.native(), errnoText(written.error())));
    }
    return {};
}

} // namespace platform
