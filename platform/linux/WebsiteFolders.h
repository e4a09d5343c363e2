// The folders of website data and of the cache, and the file for cookies: made 0700 and 0600 from
// the moment they exist, when the first window needs them. Main thread only.
#pragma once

#include "platform/FileSystem.h"
#include "platform/Log.h"

#include <filesystem>
#include <string>

namespace platform::desktop {

class WebsiteFolders {
  public:
    WebsiteFolders(std::filesystem::path data, std::filesystem::path cache, FileSystem& files,
                   Log& log);

    // Each is empty when it cannot be made, and then nothing of that kind is kept; that is logged.
    struct Places {
        std::string data;
        std::string cache;
        std::string cookies;
    };
    [[nodiscard]] Places make();

  private:
    [[nodiscard]] bool makeFolder(const std::filesystem::path& folder);

    std::filesystem::path data_;
    std::filesystem::path cache_;
    FileSystem& files_;
    Log& log_;
};

} // namespace platform::desktop
