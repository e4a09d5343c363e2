// Host on macOS: NSHost's localized name, NSFileManager's home folders.
#pragma once

#include "platform/Host.h"

namespace platform::cocoa {

class CocoaHost final : public Host {
  public:
    [[nodiscard]] std::optional<std::string> computerName() const override;
    [[nodiscard]] std::filesystem::path homeFolder() const override;
    [[nodiscard]] std::optional<std::filesystem::path>
    homeFolderOf(const std::string& user) const override;
    [[nodiscard]] LocalTime localTime(WallTime time) const override;
};

} // namespace platform::cocoa
