#include "platform/appcast/StagedUpdate.h"

#include "platform/ErrnoText.h"
#include "platform/appcast/Exchange.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform::appcast {
namespace {

std::unexpected<std::string> cannotReplace(const std::filesystem::path& bundle, int error) {
    return std::unexpected(
        fmt::format("{} cannot be replaced: {}", bundle.string(), errnoText(error)));
}

} // namespace

std::expected<StagedUpdate, std::string> StagedUpdate::prepare(int archive,
                                                               const UpdatePlan& plan) {
    if (auto verified = verifyArchive(archive, plan.length, plan.signature, plan.key); !verified) {
        return std::unexpected(verified.error());
    }
    auto staging = Staging::beside(plan.installed);
    if (!staging) {
        return cannotReplace(plan.installed, staging.error());
    }
    const auto folder = staging->path() / "new";
    if (::mkdir(folder.c_str(), 0700) != 0) {
        return cannotReplace(plan.installed, errno);
    }
    if (auto unpacked = unpack(archive, folder, plan.limits); !unpacked) {
        return std::unexpected(unpacked.error());
    }
    auto fresh = findBundle(folder, plan.expected, plan.readInfo);
    if (!fresh) {
        return std::unexpected(fresh.error());
    }
    carryOverSystemLinks(plan.installed, *fresh);
    // Everything is on the disk before the first name changes.
    if (::syncfs(staging->descriptor()) != 0) {
        return cannotReplace(plan.installed, errno);
    }
    return StagedUpdate(*std::move(staging), *std::move(fresh), plan.installed);
}

StagedUpdate::StagedUpdate(Staging staging, std::filesystem::path fresh,
                           std::filesystem::path installed)
    : staging_(std::move(staging))
    , staged_(std::move(fresh))
    , installed_(std::move(installed)) {}

std::expected<void, std::string> StagedUpdate::activate() {
    if (const auto exchanged = exchangeFolders(staged_, installed_); !exchanged) {
        return cannotReplace(installed_, exchanged.error());
    }
    staging_.keep(true);
    return {};
}

std::expected<void, std::string> StagedUpdate::revert() {
    if (const auto exchanged = exchangeFolders(staged_, installed_); !exchanged) {
        return cannotReplace(installed_, exchanged.error());
    }
    staging_.keep(false);
    return {};
}

} // namespace platform::appcast
