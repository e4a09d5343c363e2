#include "platform/Headless.h"
#include "platform/OpeningWorkspace.h"
#include "platform/cocoa/CocoaBundle.h"
#include "platform/cocoa/CocoaHost.h"
#include "platform/cocoa/DispatchQueues.h"
#include "platform/cocoa/SupportFolder.h"
#include "platform/cocoa/Text.h"
#include "platform/posix/CurlHttpClient.h"
#include "platform/posix/PosixDurableFiles.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixPrivateFiles.h"
#include "platform/posix/ProcessEntry.h"

#include <fmt/format.h>

#import <AppKit/AppKit.h>

#include <stdexcept>
#include <utility>

namespace platform {
namespace cocoa {
namespace {

class CocoaHeadless final : public HeadlessPlatform {
  public:
    explicit CocoaHeadless(std::filesystem::path support) : fileSystem_(std::move(support)) {}

    BackgroundQueues& backgroundQueues() override { return backgroundQueues_; }
    Clock& clock() override { return clock_; }
    FileSystem& fileSystem() override { return fileSystem_; }
    PrivateFiles& privateFiles() override { return privateFiles_; }
    Host& host() override { return host_; }
    HttpClient& httpClient() override { return httpClient_; }
    DurableFiles& durableFiles() override { return durableFiles_; }
    RandomSource& randomSource() override { return *randomSource_; }
    Workspace& workspace() override { return workspace_; }

    std::filesystem::path executablePath() override {
        return CocoaBundle(mainBundleWithoutLinks()).executablePath();
    }
    std::expected<InfoDictionary, std::string>
    readInfoFile(const std::filesystem::path& path) override {
        @autoreleasepool {
            NSError* error = nil;
            NSURL* const file = [NSURL fileURLWithFileSystemRepresentation:path.c_str()
                                                               isDirectory:NO
                                                             relativeToURL:nil];
            NSDictionary<NSString*, id>* const dictionary =
                [NSDictionary dictionaryWithContentsOfURL:file error:&error];
            if (dictionary == nil) {
                return std::unexpected(
                    fmt::format("cannot read {}: {}", path.native(),
                                fromFoundation(error.localizedDescription)
                                    .value_or("it is no property list that holds a dictionary")));
            }
            return infoDictionaryOf(dictionary);
        }
    }

    std::optional<std::string> openUrl(const std::string& url) override {
        @autoreleasepool {
            NSURL* const address = [NSURL URLWithString:toFoundation(url)];
            if (address != nil && [NSWorkspace.sharedWorkspace openURL:address]) {
                return std::nullopt;
            }
            return "no application opens it";
        }
    }

  private:
    // Destroyed from the last to the first: what calls back goes before what is called.
    SystemClock clock_;
    DispatchQueues backgroundQueues_;
    PosixFileSystem fileSystem_;
    PosixPrivateFiles privateFiles_;
    PosixDurableFiles durableFiles_;
    std::unique_ptr<RandomSource> randomSource_ = makeRandomSource();
    OpeningWorkspace workspace_{
        [this](const std::string& url) { static_cast<void>(openUrl(url)); }};
    CocoaHost host_;
    CurlHttpClient httpClient_;
};

} // namespace
} // namespace cocoa

std::unique_ptr<HeadlessPlatform> makeHeadlessPlatform(const Environment& /*environment*/) {
    @autoreleasepool {
        posix::putInheritanceRight();
        auto folder = cocoa::supportFolder();
        if (!folder) {
            throw std::runtime_error(folder.error());
        }
        return std::make_unique<cocoa::CocoaHeadless>(*std::move(folder));
    }
}

} // namespace platform
