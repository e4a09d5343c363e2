#include "platform/linux/window/WebStorage.h"

#include <utility>

namespace platform::gtk {

void WebStorage::setPlaces(std::string dataFolder, std::string cacheFolder,
                           std::string cookieFile) {
    dataFolder_ = std::move(dataFolder);
    cacheFolder_ = std::move(cacheFolder);
    cookieFile_ = std::move(cookieFile);
}

WebKitNetworkSession* WebStorage::session() {
    if (session_) {
        return session_.get();
    }
    const bool persistent = !dataFolder_.empty() && !cacheFolder_.empty();
    session_.reset(persistent
                       ? webkit_network_session_new(dataFolder_.c_str(), cacheFolder_.c_str())
                       : webkit_network_session_new_ephemeral());
    if (persistent && !cookieFile_.empty()) {
        webkit_cookie_manager_set_persistent_storage(
            webkit_network_session_get_cookie_manager(session_.get()), cookieFile_.c_str(),
            WEBKIT_COOKIE_PERSISTENT_STORAGE_SQLITE);
    }
    return session_.get();
}

} // namespace platform::gtk
