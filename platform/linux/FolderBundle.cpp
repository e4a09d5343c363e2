#include "platform/linux/FolderBundle.h"

#include "platform/ErrnoText.h"
#include "platform/Utf8.h"
#include "platform/posix/ReadFile.h"

#include <fmt/core.h>
#include <plist/plist.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <utility>

namespace platform {
namespace {

constexpr std::size_t largestInfoFile = std::size_t{1} << 20;

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

// The parser goes one call deeper for each level of a binary list, whose levels are tiny, and looks
// at all levels above each time: a smaller bound limits the stack and the time that takes.
bool hasBearableSize(const std::string& content) {
    constexpr std::size_t largestBinaryInfo = std::size_t{64} << 10;
    return !content.starts_with("bplist") || content.size() <= largestBinaryInfo;
}

struct PlistFree {
    void operator()(void* node) const { ::plist_free(node); }
};
struct CFree {
    void operator()(char* text) const { std::free(text); }
};
using Plist = std::unique_ptr<void, PlistFree>;
using CText = std::unique_ptr<char, CFree>;

Plist parsePropertyList(const std::string& content) {
    plist_t root = nullptr;
    if (hasBearableSize(content)) {
        ::plist_from_memory(content.data(), static_cast<std::uint32_t>(content.size()), &root);
    }
    return Plist(root);
}

InfoDictionary valuesOf(plist_t dictionary) {
    InfoDictionary values;
    plist_dict_iter cursor = nullptr;
    ::plist_dict_new_iter(dictionary, &cursor);
    const CText cursorOwner(static_cast<char*>(cursor));
    while (true) {
        char* rawKey = nullptr;
        plist_t node = nullptr;
        ::plist_dict_next_item(dictionary, cursor, &rawKey, &node);
        const CText key(rawKey);
        if (node == nullptr) {
            return values;
        }
        char* rawText = nullptr;
        if (::plist_get_node_type(node) == PLIST_STRING) {
            ::plist_get_string_val(node, &rawText);
        }
        const CText text(rawText);
        if (key && isValidUtf8(key.get())) {
            const bool isText = text && isValidUtf8(text.get());
            values.emplace(key.get(),
                           isText ? std::optional<std::string>(text.get()) : std::nullopt);
        }
    }
}

} // namespace

InfoDictionary readInfoDictionary(const std::filesystem::path& bundle, Log& log) {
    const auto path = bundle / "Contents/Info.plist";
    const auto content = posix::readFile(path, largestInfoFile);
    if (!content) {
        if (content.error() != ENOENT) {
            log.write(fmt::format("cannot read {}: {}", path.native(), errnoText(content.error())));
        }
        return {};
    }
    const auto root = parsePropertyList(*content);
    if (!root || ::plist_get_node_type(root.get()) != PLIST_DICT) {
        log.write(fmt::format("cannot use {}: it is no property list that holds a dictionary",
                              path.native()));
        return {};
    }
    return valuesOf(root.get());
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
    const auto found = info_.find(key);
    return found == info_.end() ? std::nullopt : found->second;
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
