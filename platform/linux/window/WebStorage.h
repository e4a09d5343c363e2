// Where the web views of this process keep what pages store: one network session, shared by every
// window. It is made when the first window needs it, since it starts a process. Main thread only.
#pragma once

#include "platform/linux/GObjectPtr.h"

#include <webkit/webkit.h>

#include <string>

namespace platform::gtk {

class WebStorage {
  public:
    // Before the first session(): folders that exist, and the file for cookies. Empty: nothing is
    // kept.
    void setPlaces(std::string dataFolder, std::string cacheFolder, std::string cookieFile);
    [[nodiscard]] WebKitNetworkSession* session();
    [[nodiscard]] WebKitWebContext* context();

  private:
    std::string dataFolder_;
    std::string cacheFolder_;
    std::string cookieFile_;
    GObjectPtr<WebKitNetworkSession> session_;
    GObjectPtr<WebKitWebContext> context_;
};

} // namespace platform::gtk
