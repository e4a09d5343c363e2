#include "platform/cocoa/CocoaHost.h"

#include "platform/cocoa/Text.h"
#include "platform/posix/LocalTimeOf.h"

namespace platform::cocoa {

std::optional<std::string> CocoaHost::computerName() const {
    @autoreleasepool {
        auto name = fromFoundation(NSHost.currentHost.localizedName);
        return name && !name->empty() ? std::move(name) : std::nullopt;
    }
}

std::filesystem::path CocoaHost::homeFolder() const {
    @autoreleasepool {
        return pathOf(NSFileManager.defaultManager.homeDirectoryForCurrentUser).value_or("/");
    }
}

std::optional<std::filesystem::path> CocoaHost::homeFolderOf(const std::string& user) const {
    if (user.empty()) {
        return std::nullopt; // Foundation takes no name for the current user's
    }
    @autoreleasepool {
        return pathOf([NSFileManager.defaultManager homeDirectoryForUser:toFoundation(user)]);
    }
}

LocalTime CocoaHost::localTime(WallTime time) const { return posix::localTimeOf(time); }

} // namespace platform::cocoa
