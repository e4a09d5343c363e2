// Whether what came out of an archive is the application that was promised. Any thread; throws
// nothing.
#pragma once

#include "platform/Bundle.h"

#include <expected>
#include <filesystem>
#include <functional>
#include <string>

namespace platform::appcast {

using ReadInfo = std::function<InfoDictionary(const std::filesystem::path& bundle)>;

struct ExpectedBundle {
    std::string identifier;               // CFBundleIdentifier
    std::string version;                  // CFBundleVersion
    std::filesystem::path runningProgram; // made for the same kind of processor
};

// The only thing in `folder`: a folder NAME.app with that identifier and version in its Info
// dictionary and a program that this machine can run; or why it is not.
[[nodiscard]] std::expected<std::filesystem::path, std::string>
findBundle(const std::filesystem::path& folder, const ExpectedBundle& expected,
           const ReadInfo& readInfo);

// What no archive may hold and only this machine knows: links of the installed bundle that lead
// out of it, to programs of the system. They are made again wherever the new bundle has nothing.
void carryOverSystemLinks(const std::filesystem::path& installed,
                          const std::filesystem::path& fresh);

} // namespace platform::appcast
