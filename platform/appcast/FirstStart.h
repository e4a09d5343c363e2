// Whether an application that was never started on this machine can be started at all: that its
// program finds every library and data it needs, and knows which version it is. Any thread.
#pragma once

#include "platform/CommandRunner.h"
#include "platform/appcast/BundleCheck.h"

#include <chrono>
#include <expected>
#include <filesystem>
#include <string>

namespace platform::appcast {

inline constexpr std::chrono::seconds firstAnswerPatience{10};

// The program that the bundle's Info dictionary names.
[[nodiscard]] std::filesystem::path programOf(const std::filesystem::path& bundle,
                                              const ReadInfo& readInfo);

// The program, asked with "--version", ends with status 0 within firstAnswerPatience, and the last
// word it prints is the bundle's CFBundleShortVersionString (else its CFBundleVersion); or why not.
[[nodiscard]] std::expected<void, std::string>
answersWithItsVersion(const std::filesystem::path& bundle, const ReadInfo& readInfo,
                      CommandRunner& commands);

} // namespace platform::appcast
