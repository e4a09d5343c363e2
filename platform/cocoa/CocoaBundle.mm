#include "platform/cocoa/CocoaBundle.h"

#include "platform/cocoa/Text.h"
#include "platform/posix/ReadFile.h"

#include <system_error>

namespace platform::cocoa {
namespace {

bool isRegularFile(const std::filesystem::path& path) {
    std::error_code failed;
    return std::filesystem::is_regular_file(path, failed);
}

bool isFileName(std::string_view name) {
    return !name.empty() &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

// Where a path leads in the end; the path itself when it leads nowhere.
std::filesystem::path behindLinks(const std::filesystem::path& path) {
    std::error_code failed;
    auto real = std::filesystem::canonical(path, failed);
    return failed ? path : real;
}

bool isLink(const std::filesystem::path& path) {
    std::error_code failed;
    return std::filesystem::is_symlink(path, failed);
}

} // namespace

NSBundle* mainBundleWithoutLinks() {
    NSBundle* const main = NSBundle.mainBundle;
    const auto folder =
        behindLinks(pathOf(main.executableURL).value_or(std::filesystem::path())).parent_path();
    const auto application = folder.parent_path().parent_path();
    if ([main.bundleURL.pathExtension isEqualToString:@"app"] || folder.filename() != "MacOS" ||
        application.extension() != ".app") {
        return main;
    }
    NSURL* const url = [NSURL fileURLWithFileSystemRepresentation:application.c_str()
                                                      isDirectory:YES
                                                    relativeToURL:nil];
    NSBundle* const found = [NSBundle bundleWithURL:url];
    return found != nil ? found : main;
}

InfoDictionary infoDictionaryOf(NSDictionary<NSString*, id>* dictionary) {
    InfoDictionary values;
    InfoDictionary* const filled = &values;
    [dictionary enumerateKeysAndObjectsUsingBlock:^(NSString* key, id value, BOOL*) {
      if (auto name = fromFoundation(key)) {
          filled->emplace(*std::move(name), [value isKindOfClass:NSString.class]
                                                ? fromFoundation(value)
                                                : std::nullopt);
      }
    }];
    return values;
}

CocoaBundle::CocoaBundle(NSBundle* bundle) : bundle_(bundle) {}

bool CocoaBundle::isApplication() const {
    return [bundle_.bundleURL.pathExtension isEqualToString:@"app"];
}

std::optional<std::filesystem::path> CocoaBundle::bundlePath() const {
    @autoreleasepool {
        return isApplication() ? pathOf(bundle_.bundleURL) : std::nullopt;
    }
}

std::optional<std::filesystem::path> CocoaBundle::resourcesPath() const {
    @autoreleasepool {
        return isApplication() ? pathOf(bundle_.resourceURL) : std::nullopt;
    }
}

std::filesystem::path CocoaBundle::executablePath() const {
    @autoreleasepool {
        auto path = pathOf(bundle_.executableURL).value_or(std::filesystem::path());
        return isLink(path) ? behindLinks(path) : path;
    }
}

std::optional<std::filesystem::path> CocoaBundle::auxiliaryExecutable(std::string_view name) const {
    if (!isFileName(name)) {
        return std::nullopt;
    }
    @autoreleasepool {
        const auto known = pathOf([bundle_ URLForAuxiliaryExecutable:toFoundation(name)]);
        if (known && isRegularFile(*known)) {
            return known;
        }
    }
    auto beside = executablePath().parent_path() / name;
    return isRegularFile(beside) ? std::optional(std::move(beside)) : std::nullopt;
}

std::optional<std::string> CocoaBundle::infoString(std::string_view key) const {
    @autoreleasepool {
        if (!isApplication()) {
            return std::nullopt;
        }
        const id value = bundle_.infoDictionary[toFoundation(key)];
        return [value isKindOfClass:NSString.class] ? fromFoundation(value) : std::nullopt;
    }
}

InfoDictionary CocoaBundle::infoDictionary() const {
    @autoreleasepool {
        return isApplication() ? infoDictionaryOf(bundle_.infoDictionary) : InfoDictionary{};
    }
}

std::optional<std::string> CocoaBundle::resource(std::string_view name,
                                                 std::string_view extension) const {
    if (!isApplication() || !isFileName(name) || !isFileName(extension)) {
        return std::nullopt;
    }
    @autoreleasepool {
        const auto path = pathOf([bundle_ URLForResource:toFoundation(name)
                                           withExtension:toFoundation(extension)]);
        if (!path) {
            return std::nullopt;
        }
        auto content = posix::readFile(*path, largestResource);
        return content ? std::optional(std::move(*content)) : std::nullopt;
    }
}

} // namespace platform::cocoa
