// Host on Linux. The computer's name is PRETTY_HOSTNAME of /etc/machine-info (machine-info(5)),
// else the host name. Home is $HOME as it was when the object was made, else the user database's
// answer.
#pragma once

#include "platform/Environment.h"
#include "platform/Host.h"

namespace platform {

class LinuxHost final : public Host {
  public:
    explicit LinuxHost(const Environment& environment,
                       std::filesystem::path machineInfo = "/etc/machine-info");

    [[nodiscard]] std::optional<std::string> computerName() const override;
    [[nodiscard]] std::filesystem::path homeFolder() const override { return home_; }
    [[nodiscard]] std::optional<std::filesystem::path>
    homeFolderOf(const std::string& user) const override;
    [[nodiscard]] LocalTime localTime(WallTime time) const override;

  private:
    std::filesystem::path home_;
    std::filesystem::path machineInfo_;
};

// The value of a variable in a file of shell-compatible assignments (os-release(5)): single or
// double quotes, backslash escapes inside double quotes; the last assignment counts.
[[nodiscard]] std::optional<std::string> assignedValue(std::string_view text,
                                                       std::string_view variable);

} // namespace platform
