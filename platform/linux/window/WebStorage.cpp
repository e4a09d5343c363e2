#include "platform/linux/window/WebStorage.h"

#include "platform/linux/window/PageMemory.h"

#include <utility>

namespace platform::gtk {
namespace {

constexpr double pollSeconds = 2;

} // namespace

void WebStorage::setPlaces(std::string dataFolder, std::string cacheFolder,
                           std::string cookieFile) {
    dataFolder_ = std::move(dataFolder);
    cacheFolder_ = std::move(cacheFolder);
    cookieFile_ = std::move(cookieFile);
}

// A page that takes more ends, which is told like any other death of it.
WebKitWebContext* WebStorage::context() {
    if (!context_) {
        WebKitMemoryPressureSettings* const memory = webkit_memory_pressure_settings_new();
        webkit_memory_pressure_settings_set_memory_limit(memory, pageMemoryLimit);
        webkit_memory_pressure_settings_set_kill_threshold(memory, 1);
        webkit_memory_pressure_settings_set_poll_interval(memory, pollSeconds);
        context_.reset(WEBKIT_WEB_CONTEXT(
            g_object_new(WEBKIT_TYPE_WEB_CONTEXT, "memory-pressure-settings", memory, nullptr)));
        webkit_memory_pressure_settings_free(memory);
    }
    return context_.get();
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
