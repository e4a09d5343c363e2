// What a program without a user interface takes from the system. Made once, outliving everything
// that it lends; needs no display and no session. Linked through the target Tessel::system. Its
// main queue is a RunLoop, which the program makes on its main thread.
#pragma once

#include "platform/Bundle.h"
#include "platform/Clock.h"
#include "platform/DurableFiles.h"
#include "platform/Environment.h"
#include "platform/FileSystem.h"
#include "platform/Host.h"
#include "platform/HttpClient.h"
#include "platform/PrivateFiles.h"
#include "platform/Queues.h"
#include "platform/RandomSource.h"
#include "platform/Workspace.h"

#include <expected>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace platform {

class HeadlessPlatform {
  public:
    virtual ~HeadlessPlatform() = default;

    // Each as its own header promises, and for as long as this object lives.
    virtual BackgroundQueues& backgroundQueues() = 0;
    virtual Clock& clock() = 0;
    virtual FileSystem& fileSystem() = 0;
    virtual PrivateFiles& privateFiles() = 0;
    virtual Host& host() = 0;
    virtual HttpClient& httpClient() = 0;
    virtual DurableFiles& durableFiles() = 0;
    virtual RandomSource& randomSource() = 0;
    // Opens pages by openUrl() and forgets failures; starts no application. Any thread.
    virtual Workspace& workspace() = 0;

    // The file this process runs, links resolved; empty when the system cannot tell.
    [[nodiscard]] virtual std::filesystem::path executablePath() = 0;
    // The dictionary of a property list, such as a bundle's Info.plist; or what was attempted and
    // why it failed, with the path. Blocks.
    [[nodiscard]] virtual std::expected<InfoDictionary, std::string>
    readInfoFile(const std::filesystem::path& path) = 0;

    // Hands an absolute URL to the desktop's default handler; why that did not work, if so.
    [[nodiscard]] virtual std::optional<std::string> openUrl(const std::string& url) = 0;
};

// SIGPIPE is ignored from here on. Throws std::runtime_error when the system lacks something.
[[nodiscard]] std::unique_ptr<HeadlessPlatform>
makeHeadlessPlatform(const Environment& environment);

} // namespace platform
