// What a web application is, to the window that shows it: every value comes from the embedding
// application and none has a default. A value type; nothing is checked here. The four names of
// page globals and of the bridge go into scripts as they are and must be JavaScript identifiers.
#pragma once

#include "mac/Tessel/Values/Url.h"

#include <set>
#include <string>

namespace tessel {

struct WebAppConfig {
    Url origin;            // its host decides what is in the app, and is the cookie's domain
    std::string startPath; // relative to the origin; loaded first
    // Told to the page.
    bool needsToken = false;
    std::string deviceName;
    std::string windowTitle;         // until a page has one; also names the window's saved frame
    std::set<std::string> authHosts; // exact lower-case host names that are in the app as well
    std::string mintPath;            // where a page of the app asks for a token
    // JavaScript identifiers: what the page finds in its globals.
    std::string clientFlagGlobal;
    std::string deviceGlobal;
    std::string needsTokenGlobal;
    std::string bridgeName; // of the script message handler
    // Name of the cookie, of the request's header, and what the window calls itself.
    std::string appCookieName;
    std::string appHeaderName;
    std::string userAgent;

    bool operator==(const WebAppConfig&) const = default;
};

} // namespace tessel
