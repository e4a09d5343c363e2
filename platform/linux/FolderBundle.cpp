#include "platform/linux/FolderBundle.h"

#include "platform/posix/ErrnoText.h"
#include "platform/posix/ReadFile.h"
#include "platform/posix/Utf8.h"

#include <fmt/core.h>
#include <plist/plist++.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

namespace platform {
namespace {

constexpr std::size_t largestInfoFile = std::size_t{1} << 20;

using InfoStrings = std::map<std::string, std::string, std::less<>>;

bool isRegularFile(const std::filesystem::path& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::optional<std::filesystem::path> bundleOf(const std::filesystem::path& executable) {
    const auto folder = executable.parent_path();
    const auto contents = folder.parent_path();
    const auto bundle = contents.parent_path();
    if (folder.filename() != "MacOS" || contents.filename() != "Contents" ||
        bundle.extension() != ".app") {
        return std::nullopt;
    }
    return bundle;
}

std::unique_ptr<PList::Structure> parsePropertyList(const std::string& content) {
    const bool isBinary = content.starts_with("bplist");
    return std::unique_ptr<PList::Structure>(
        isBinary ? PList::Structure::FromBin(std::vector<char>(content.begin(), content.end()))
                 : PList::Structure::FromXml(content));
}

// Nothing when the content is no property list or no dictionary.
std::optional<InfoStrings> stringsOf(const std::string& content) {
    const auto root = parsePropertyList(content);
    auto* dictionary = dynamic_cast<PList::Dictionary*>(root.get());
    if (dictionary == nullptr) {
        return std::nullopt;
    }
    InfoStrings strings;
    for (auto entry = dictionary->Begin(); entry != dictionary->End(); ++entry) {
        const auto* text = dynamic_cast<PList::String*>(entry->second);
        if (text == nullptr) {
            continue;
        }
        auto value = text->GetValue();
        if (posix::isUtf8(value)) {
            strings.emplace(entry->first, std::move(value));
        }
    }
    return strings;
}

InfoStrings readInfo(const std::filesystem::path& path, Log& log) {
    const auto content = posix::readFile(path, largestInfoFile);
    if (!content) {
        if (content.error() != ENOENT) {
            log.write(fmt::format("cannot read {}: {}", path.native(),
                                  posix::errnoText(content.error())));
        }
        return {};
    }
    auto strings = stringsOf(*content);
    if (!strings) {
        log.write(fmt::format("cannot use {}: it is no property list that holds a dictionary",
                              path.native()));
        return {};
    }
    return std::move(*strings);
}

} // namespace

std::filesystem::path runningExecutable() {
    constexpr std::string_view deletedMark = " (deleted)";
    std::error_code failed;
    std::string path = std::filesystem::read_symlink("/proc/self/exe", failed).native();
    if (path.ends_with(deletedMark) && !isRegularFile(path)) {
        path.resize(path.size() - deletedMark.size());
    }
    return path;
}

FolderBundle::FolderBundle(std::filesystem::path executable, Log& log)
    : executable_(std::move(executable))
    , bundle_(bundleOf(executable_)) {
    if (bundle_) {
        info_ = readInfo(*bundle_ / "Contents/Info.plist", log);
    }
}

std::optional<std::filesystem::path> FolderBundle::bundlePath() const {
    return bundle_;
}

std::optional<std::filesystem::path> FolderBundle::resourcesPath() const {
    if (!bundle_) {
        return std::nullopt;
    }
    return *bundle_ / "Contents/Resources";
}

std::filesystem::path FolderBundle::executablePath() const {
    return executable_;
}

std::optional<std::filesystem::path>
FolderBundle::auxiliaryExecutable(std::string_view name) const {
    if (name.empty() || name.find_first_of(std::string_view("/\0", 2)) != std::string_view::npos) {
        return std::nullopt;
    }
    auto path = executable_.parent_path() / name;
    return isRegularFile(path) ? std::optional(std::move(path)) : std::nullopt;
}

std::optional<std::string> FolderBundle::infoString(std::string_view key) const {
    const auto found = info_.find(key);
    return found == info_.end() ? std::nullopt : std::optional(found->second);
}

} // namespace platform
