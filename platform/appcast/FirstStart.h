// Whether an application that was never started on this machine can be started at all: that its
// program finds every library and data it needs, and knows which version it is. Any thread.
#pragma once

#include "platform/ChildProcess.h"
#include "platform/appcast/BundleCheck.h"
#include "platform/posix/WatchedCommand.h"

#include <chrono>
#include <expected>
#include <filesystem>
#include <functional>
#include <string>

namespace platform::appcast {

inline constexpr std::chrono::seconds firstAnswerPatience{10};

// posix::runWatched with the environment that programs are given.
using RunProgram =
    std::function<std::expected<posix::WatchedEnd, LaunchError>(posix::WatchedCommand command)>;

// The program that the bundle's Info dictionary names.
[[nodiscard]] std::filesystem::path programOf(const std::filesystem::path& bundle,
                                              const ReadInfo& readInfo);

// The program, asked with "--version", ends with status 0 within firstAnswerPatience, and the last
// word it prints is the bundle's CFBundleShortVersionString (else its CFBundleVersion); or why not.
// It is ended as soon as `interrupt`, a descriptor unless it is negative, can be read.
[[nodiscard]] std::expected<void, std::string>
answersWithItsVersion(const std::filesystem::path& bundle, const ReadInfo& readInfo,
                      const RunProgram& run, int interrupt);

} // namespace platform::appcast
