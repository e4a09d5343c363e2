// The rest of AppKit's surroundings: what was opened, the activation policy, the system's symbols.
#pragma once

#import <AppKit/AppKit.h>

#include <string>
#include <vector>

namespace cocoa_host {

struct OpenedApplication {
    std::string path;
    bool asNewInstance = false;
    std::vector<std::string> variables; // that it is given, by name
};

struct Desktop {
    std::vector<std::string> openedUrls;
    bool opensUrls = true;
    std::vector<OpenedApplication> openedApplications;
    std::string launchError; // empty: launches succeed
    NSInteger activationPolicy = -1;
    int activations = 0; // over those of other applications
};

// The one desktop of this process. Main thread only.
[[nodiscard]] Desktop& desktop();

// The two symbols the system has here.
constexpr const char* knownSymbols[] = {"antenna.radiowaves.left.and.right", "play.fill"};
[[nodiscard]] std::string descriptionOf(NSImage* image);

} // namespace cocoa_host
