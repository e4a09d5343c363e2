#include "platform/appcast/FirstStart.h"

#include "platform/Utf8.h"

#include <fmt/format.h>

#include <string_view>

namespace platform::appcast {
namespace {

constexpr std::size_t longestAnswer = 4096;

std::string_view lastWord(std::string_view text) {
    text = trimmed(text);
    const auto space = text.find_last_of(" \t\r\n");
    return space == std::string_view::npos ? text : text.substr(space + 1);
}

std::string howItEnded(const ExitStatus& status) {
    return status.signalled ? fmt::format("it is ended by signal {}", status.code)
                            : fmt::format("it ends with status {}", status.code);
}

std::unexpected<std::string> doesNotStart(std::string_view reason) {
    return std::unexpected(fmt::format("the new version does not start: {}", reason));
}

} // namespace

std::filesystem::path programOf(const std::filesystem::path& bundle, const ReadInfo& readInfo) {
    return bundle / "Contents/MacOS" /
           infoString(readInfo(bundle), "CFBundleExecutable").value_or("");
}

std::expected<void, std::string> answersWithItsVersion(const std::filesystem::path& bundle,
                                                       const ReadInfo& readInfo,
                                                       const RunProgram& run, int interrupt) {
    const auto answer = run({.executable = programOf(bundle, readInfo),
                             .arguments = {"--version"},
                             .timeout = firstAnswerPatience,
                             .mostOutput = longestAnswer,
                             .interrupt = interrupt});
    if (!answer) {
        return doesNotStart(answer.error().description());
    }
    switch (answer->reason) {
    case posix::WatchedEnd::Reason::interrupted:
        return std::unexpected("it was cancelled");
    case posix::WatchedEnd::Reason::timedOut:
        return doesNotStart("it does not answer");
    case posix::WatchedEnd::Reason::exited:
        break;
    }
    if (!answer->status.succeeded()) {
        return doesNotStart(howItEnded(answer->status));
    }
    const auto info = readInfo(bundle);
    auto version = infoString(info, "CFBundleShortVersionString").value_or("");
    if (version.empty()) {
        version = infoString(info, "CFBundleVersion").value_or("");
    }
    if (!answer->isOutputWhole || lastWord(answer->output) != version) {
        return doesNotStart("it says that it is another version");
    }
    return {};
}

} // namespace platform::appcast
