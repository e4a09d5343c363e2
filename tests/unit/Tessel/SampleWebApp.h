// The configuration that the tests of the web app window start from; no value stands for another.
#pragma once

#include "mac/Tessel/WebApp/WebAppConfig.h"

namespace tessel {

inline WebAppConfig sampleWebApp(std::string_view origin = "https://app.example.com") {
    return {.origin = Url(origin),
            .startPath = "/start",
            .needsToken = true,
            .deviceName = "Ann's Laptop",
            .windowTitle = "Example",
            .authHosts = {"login.example.net"},
            .mintPath = "/api/mint",
            .clientFlagGlobal = "__inApp",
            .deviceGlobal = "__device",
            .needsTokenGlobal = "__needsToken",
            .bridgeName = "bridge",
            .appCookieName = "in_app",
            .appHeaderName = "x-app",
            .userAgent = "Agent/1"};
}

} // namespace tessel
