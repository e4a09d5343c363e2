#pragma once

#include "ostrad/Http.h"
#include "ostrad/Options.h"

#include <optional>
#include <string>

namespace ostrad {

// Answers requests: the gate every request passes (Host, origin), then the routes of the web
// interface and of the API. Confined to the server's thread.
class Site {
  public:
    struct Settings {
        ListenAddress address;
        std::optional<std::string> healthNonce;
    };

    explicit Site(Settings siteSettings);

    Reply handle(const Request& request);

  private:
    Settings settings;
};

} // namespace ostrad
