// A computer whose answers a test writes. Its clock on the wall shows UTC. For tests.
#pragma once

#include "platform/Host.h"

#include <map>

namespace platform::testing {

class FakeHost final : public Host {
  public:
    [[nodiscard]] std::optional<std::string> computerName() const override { return name; }
    [[nodiscard]] std::filesystem::path homeFolder() const override { return home; }
    [[nodiscard]] std::optional<std::filesystem::path>
    homeFolderOf(const std::string& user) const override;
    [[nodiscard]] LocalTime localTime(WallTime time) const override;

    std::optional<std::string> name = "Studio";
    std::filesystem::path home = "/home/ann";
    std::map<std::string, std::filesystem::path> homes; // of other users
};

} // namespace platform::testing
