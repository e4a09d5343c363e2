#include "platform/Headless.h"
#include "platform/OpeningWorkspace.h"
#include "platform/linux/FolderBundle.h"
#include "platform/linux/GObjectPtr.h"
#include "platform/linux/InfoFile.h"
#include "platform/linux/LinuxHost.h"
#include "platform/linux/ThreadPoolQueues.h"
#include "platform/linux/XdgFolders.h"
#include "platform/posix/CurlHttpClient.h"
#include "platform/posix/PosixDurableFiles.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixPrivateFiles.h"
#include "platform/posix/ProcessEntry.h"

#include <gio/gio.h>

namespace platform {
namespace {

class LinuxHeadless final : public HeadlessPlatform {
  public:
    explicit LinuxHeadless(const Environment& environment)
        : fileSystem_(xdgFolders(environment, homeFolder(environment)).dataHome)
        , host_(environment) {}
    // Waits for the background tasks that are running: they use everything else.
    ~LinuxHeadless() override { backgroundQueues_.finish(); }
    LinuxHeadless(const LinuxHeadless&) = delete;
    LinuxHeadless& operator=(const LinuxHeadless&) = delete;

    BackgroundQueues& backgroundQueues() override { return backgroundQueues_; }
    Clock& clock() override { return clock_; }
    FileSystem& fileSystem() override { return fileSystem_; }
    PrivateFiles& privateFiles() override { return privateFiles_; }
    Host& host() override { return host_; }
    HttpClient& httpClient() override { return httpClient_; }
    DurableFiles& durableFiles() override { return durableFiles_; }
    RandomSource& randomSource() override { return *randomSource_; }
    Workspace& workspace() override { return workspace_; }

    std::filesystem::path executablePath() override { return runningExecutable(); }
    std::expected<InfoDictionary, std::string>
    readInfoFile(const std::filesystem::path& path) override {
        return platform::readInfoFile(path);
    }

    std::optional<std::string> openUrl(const std::string& url) override {
        GError* error = nullptr;
        if (g_app_info_launch_default_for_uri(url.c_str(), nullptr, &error) != FALSE) {
            return std::nullopt;
        }
        const gtk::GErrorPtr failure(error);
        return failure->message;
    }

  private:
    // Destroyed from the last to the first: what calls back goes before what is called.
    SystemClock clock_;
    ThreadPoolQueues backgroundQueues_;
    PosixFileSystem fileSystem_;
    PosixPrivateFiles privateFiles_;
    PosixDurableFiles durableFiles_;
    std::unique_ptr<RandomSource> randomSource_ = makeRandomSource();
    OpeningWorkspace workspace_{
        [this](const std::string& url) { static_cast<void>(openUrl(url)); }};
    LinuxHost host_;
    CurlHttpClient httpClient_;
};

} // namespace

std::unique_ptr<HeadlessPlatform> makeHeadlessPlatform(const Environment& environment) {
    posix::putInheritanceRight();
    return std::make_unique<LinuxHeadless>(environment);
}

} // namespace platform
