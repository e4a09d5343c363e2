// Where the web views of this process keep what pages store: one persistent network session,
// shared by every window. It is made when the first window needs it, since it starts a process.
// Its two folders, data and cache, are 0700 from the moment they exist. Cookies that have a date
// survive the process. Main thread only.
#pragma once

#include "platform/FileSystem.h"
#include "platform/Log.h"
#include "platform/linux/GObjectPtr.h"

#include <webkit/webkit.h>

#include <filesystem>

namespace platform::gtk {

class WebStorage {
  public:
    WebStorage(std::filesystem::path dataFolder, std::filesystem::path cacheFolder,
               FileSystem& files, Log& log);

    // A session that keeps nothing takes its place when a folder cannot be made; that is logged.
    [[nodiscard]] WebKitNetworkSession* session();

  private:
    void keepCookies();
    [[nodiscard]] bool makeFolder(const std::filesystem::path& folder);

    std::filesystem::path dataFolder_;
    std::filesystem::path cacheFolder_;
    FileSystem& files_;
    Log& log_;
    GObjectPtr<WebKitNetworkSession> session_;
};

} // namespace platform::gtk
