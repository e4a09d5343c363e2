// The application bundle this process runs from: Name.app/Contents/{MacOS,Resources,Info.plist}.
// A process that does not run from such a folder has no bundle path and an empty Info dictionary;
// its executable's folder still counts for auxiliary executables. Immutable after construction;
// any thread.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// An Info dictionary: the text of each value that is a string, nothing for one of another kind.
using InfoDictionary = std::map<std::string, std::optional<std::string>, std::less<>>;

// A string of an Info dictionary; absent when the key is missing or not a string. Any thread.
[[nodiscard]] inline std::optional<std::string> infoString(const InfoDictionary& info,
                                                           std::string_view key) {
    const auto found = info.find(key);
    return found == info.end() ? std::nullopt : found->second;
}

class Bundle {
  public:
    virtual ~Bundle() = default;

    // The folder Name.app and its Contents/Resources; absent when there is no bundle.
    [[nodiscard]] virtual std::optional<std::filesystem::path> bundlePath() const = 0;
    [[nodiscard]] virtual std::optional<std::filesystem::path> resourcesPath() const = 0;
    // The file this process runs.
    [[nodiscard]] virtual std::filesystem::path executablePath() const = 0;
    // The path of an executable of that name beside the running one, if it exists.
    [[nodiscard]] virtual std::optional<std::filesystem::path>
    auxiliaryExecutable(std::string_view name) const = 0;
    // A string of the Info dictionary; absent when the key is missing or not a string.
    [[nodiscard]] virtual std::optional<std::string> infoString(std::string_view key) const = 0;
    // Empty when there is none.
    [[nodiscard]] virtual InfoDictionary infoDictionary() const = 0;
    // The whole content of the resource file name.extension; absent when there is none, when it
    // cannot be read or when it is larger than 16 MiB. Blocks.
    [[nodiscard]] virtual std::optional<std::string> resource(std::string_view name,
                                                              std::string_view extension) const = 0;

    // In bytes.
    static constexpr std::size_t largestResource = std::size_t{16} << 20;
};

} // namespace platform
