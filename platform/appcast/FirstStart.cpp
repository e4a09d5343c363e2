#include "platform/appcast/FirstStart.h"

#include "platform/Utf8.h"

#include <fmt/format.h>

#include <string_view>

namespace platform::appcast {
namespace {

constexpr std::size_t longestAnswer = 4096;

std::string valueOf(const InfoDictionary& info, std::string_view key) {
    const auto found = info.find(key);
    return found == info.end() ? std::string() : found->second.value_or(std::string());
}

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
    return bundle / "Contents/MacOS" / valueOf(readInfo(bundle), "CFBundleExecutable");
}

std::expected<void, std::string> answersWithItsVersion(const std::filesystem::path& bundle,
                                                       const ReadInfo& readInfo,
                                                       CommandRunner& commands) {
    const auto answer = commands.run(programOf(bundle, readInfo), {"--version"},
                                     firstAnswerPatience, longestAnswer);
    if (!answer) {
        return answer.error().kind == CommandError::Kind::timedOut
                   ? doesNotStart("it does not answer")
                   : doesNotStart(answer.error().description);
    }
    if (!answer->status.succeeded()) {
        return doesNotStart(howItEnded(answer->status));
    }
    const auto info = readInfo(bundle);
    const auto shown = valueOf(info, "CFBundleShortVersionString");
    if (lastWord(answer->output) != (shown.empty() ? valueOf(info, "CFBundleVersion") : shown)) {
        return doesNotStart("it says that it is another version");
    }
    return {};
}

} // namespace platform::appcast
