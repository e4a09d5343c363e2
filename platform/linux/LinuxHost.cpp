#include "platform/linux/LinuxHost.h"

#include "platform/Utf8.h"
#include "platform/linux/XdgFolders.h"
#include "platform/posix/LocalTimeOf.h"
#include "platform/posix/ReadFile.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <string_view>
#include <utility>
#include <vector>

namespace platform {
namespace {

std::string unquoted(std::string_view value) {
    const char quote = value.size() >= 2 ? value.front() : '\0';
    if ((quote != '"' && quote != '\'') || value.back() != quote) {
        return std::string(value);
    }
    value = value.substr(1, value.size() - 2);
    std::string text;
    for (std::size_t index = 0; index < value.size(); ++index) {
        if (quote == '"' && value[index] == '\\' && index + 1 < value.size()) {
            ++index;
        }
        text += value[index];
    }
    return text;
}

std::optional<std::string> usableName(std::string_view name) {
    if (!isValidUtf8(name) || trimmed(name).empty()) {
        return std::nullopt;
    }
    return std::string(trimmed(name));
}

std::optional<std::string> hostName() {
    std::array<char, 256> buffer{};
    if (::gethostname(buffer.data(), buffer.size() - 1) != 0) {
        return std::nullopt;
    }
    return usableName(buffer.data());
}

} // namespace

std::optional<std::string> assignedValue(std::string_view text, std::string_view variable) {
    std::optional<std::string> value;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const auto line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.starts_with(variable) && line.substr(variable.size()).starts_with('=')) {
            value = unquoted(line.substr(variable.size() + 1));
        }
    }
    return value;
}

LinuxHost::LinuxHost(const Environment& environment, std::filesystem::path machineInfo)
    : home_(platform::homeFolder(environment))
    , machineInfo_(std::move(machineInfo)) {}

std::optional<std::string> LinuxHost::computerName() const {
    constexpr std::size_t longestMachineInfo = std::size_t{64} << 10;
    if (const auto text = posix::readFile(machineInfo_, longestMachineInfo)) {
        const auto pretty = assignedValue(*text, "PRETTY_HOSTNAME");
        if (auto name = pretty ? usableName(*pretty) : std::nullopt) {
            return name;
        }
    }
    return hostName();
}

std::optional<std::filesystem::path> LinuxHost::homeFolderOf(const std::string& user) const {
    constexpr std::size_t roomForOneEntry = std::size_t{16} << 10;
    std::vector<char> buffer(roomForOneEntry);
    passwd entry{};
    passwd* found = nullptr;
    ::getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found);
    return found != nullptr && *found->pw_dir == '/' ? std::optional(found->pw_dir) : std::nullopt;
}

LocalTime LinuxHost::localTime(WallTime time) const {
    return posix::localTimeOf(time);
}

} // namespace platform
