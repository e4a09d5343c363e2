#include "platform/linux/WebStorage.h"

#include <fmt/format.h>

#include <utility>

namespace platform::gtk {

WebStorage::WebStorage(std::filesystem::path dataFolder, std::filesystem::path cacheFolder,
                       FileSystem& files, Log& log)
    : dataFolder_(std::move(dataFolder))
    , cacheFolder_(std::move(cacheFolder))
    , files_(files)
    , log_(log) {}

WebKitNetworkSession* WebStorage::session() {
    if (!session_) {
        const bool persistent = makeFolder(dataFolder_) && makeFolder(cacheFolder_);
        session_.reset(persistent
                           ? webkit_network_session_new(dataFolder_.c_str(), cacheFolder_.c_str())
                           : webkit_network_session_new_ephemeral());
    }
    return session_.get();
}

bool WebStorage::makeFolder(const std::filesystem::path& folder) {
    const auto made = files_.createFolders(folder, 0700);
    if (!made) {
        log_.write(fmt::format("website data is not kept: {}", made.error().description()));
    }
    return made.has_value();
}

} // namespace platform::gtk
