// The login item as the system sees it. https://developer.apple.com/documentation/servicemanagement
#pragma once

#import <ServiceManagement/ServiceManagement.h>

#include <string>

namespace cocoa_host {

struct LoginItem {
    SMAppServiceStatus status = SMAppServiceStatusNotRegistered;
    std::string error; // empty: registering and unregistering succeed
};

[[nodiscard]] LoginItem& loginItem();

} // namespace cocoa_host
