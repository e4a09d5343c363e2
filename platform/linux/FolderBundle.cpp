#include "platform/linux/FolderBundle.h"

#include "platform/linux/InfoFile.h"
#include "platform/posix/ReadFile.h"

#include <fmt/core.h>
#include <sys/stat.h>

#include <system_error>
#include <utility>

namespace platform {
namespace {

bool isRegularFile(const std::filesystem::path& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool isFileName(std::string_view name) {
    return !name.empty() &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

std::optional<std::filesystem::path> bundleOf(const std::filesystem::path& executable) {
    const auto folder = executable.parent_path();
    const auto contents = folder.parent_path();
    auto bundle = contents.parent_path();
    if (folder.filename() != "MacOS" || contents.filename() != "Contents" ||
        bundle.extension() != ".app") {
        return std::nullopt;
    }
    return bundle;
}

} // namespace

InfoDictionary readInfoDictionary(const std::filesystem::path& bundle, Log& log) {
    const auto path = bundle / "Contents/Info.plist";
    std::error_code failed;
    if (!std::filesystem::exists(path, failed) && !failed) {
        return {};
    }
    auto values = readInfoFile(path);
    if (!values) {
        log.write(values.error());
    }
    return std::move(values).value_or(InfoDictionary{});
}

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
        info_ = readInfoDictionary(*bundle_, log);
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
    if (!isFileName(name)) {
        return std::nullopt;
    }
    auto path = executable_.parent_path() / name;
    return isRegularFile(path) ? std::optional(std::move(path)) : std::nullopt;
}

std::optional<std::string> FolderBundle::infoString(std::string_view key) const {
    return platform::infoString(info_, key);
}

std::optional<std::string> FolderBundle::resource(std::string_view name,
                                                  std::string_view extension) const {
    const auto folder = resourcesPath();
    if (!folder || !isFileName(name) || !isFileName(extension)) {
        return std::nullopt;
    }
    auto content =
        posix::readFile(*folder / fmt::format("{}.{}", name, extension), largestResource);
    return content ? std::optional(std::move(*content)) : std::nullopt;
}

} // namespace platform
