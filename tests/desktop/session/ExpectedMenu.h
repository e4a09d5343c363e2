// What the status menu of the real application shows while its server runs, has no libraries and is
// not linked, in the notation of traymenu::Layout.
#pragma once

#include <string>
#include <vector>

namespace desktop {

// `header` is the line with the version, `address` the server's.
[[nodiscard]] inline std::vector<std::string> menuOfAFreshServer(const std::string& header,
                                                                 const std::string& address) {
    return {header,
            "[Server: Online]",
            "[Address: " + address + "]",
            "-",
            "[Library: no libraries configured]",
            "-",
            "Show Zorvane Window",
            "Open Web App",
            "Copy Server URL",
            "Restart Server",
            "-",
            "[Account: not linked]",
            "Link This Server…",
            "-",
            "o Start at Login",
            "-",
            "Quit Zorvane & Stop Server"};
}

} // namespace desktop
