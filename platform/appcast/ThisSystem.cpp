#include "platform/appcast/ThisSystem.h"

#include <sys/utsname.h>

namespace platform::appcast {

SystemDescription thisSystem() {
    utsname system{};
    if (::uname(&system) != 0) {
        return {.names = {"linux"}, .version = "0"};
    }
    return {.names = {"linux", "linux-" + std::string(system.machine)},
            .version = kernelVersion(system.release)};
}

std::string kernelVersion(std::string_view release) {
    auto numbers = release.substr(0, release.find_first_not_of("0123456789."));
    while (numbers.ends_with('.')) {
        numbers.remove_suffix(1);
    }
    const bool isVersion = !numbers.empty() && !numbers.starts_with('.') &&
                           numbers.find("..") == std::string_view::npos;
    return isVersion ? std::string(numbers) : "0";
}

} // namespace platform::appcast
