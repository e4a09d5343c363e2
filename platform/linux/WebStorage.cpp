#include "platform/linux/WebStorage.h"

#include "platform/ErrnoText.h"
#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <cerrno>
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
        if (persistent) {
            keepCookies();
        }
    }
    return session_.get();
}

void WebStorage::keepCookies() {
    const std::filesystem::path file = dataFolder_ / "cookies.sqlite";
    // Made here, since the web engine would make it readable to others.
    const posix::UniqueFd made(
        ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!made) {
        log_.write(fmt::format("cookies are not kept: cannot open {}: {}", file.string(),
                               errnoText(errno)));
        return;
    }
    webkit_cookie_manager_set_persistent_storage(
        webkit_network_session_get_cookie_manager(session_.get()), file.c_str(),
        WEBKIT_COOKIE_PERSISTENT_STORAGE_SQLITE);
}

bool WebStorage::makeFolder(const std::filesystem::path& folder) {
    const auto made = files_.createFolders(folder, 0700);
    if (!made) {
        log_.write(fmt::format("website data is not kept: {}", made.error().description()));
    }
    return made.has_value();
}

} // namespace platform::gtk
