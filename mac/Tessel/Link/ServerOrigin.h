// Which account service a link is made with. The tests here are weak on purpose: a host is enough
// for an origin that the user or an earlier link named, and its path is kept. What the service
// sends back is examined strictly when the link is made. Stateless; any thread; throws nothing.
#pragma once

#include "mac/Tessel/State/Credentials.h"
#include "mac/Tessel/Values/Url.h"
#include "platform/Bundle.h"
#include "platform/Environment.h"

#include <optional>
#include <string>

namespace tessel {

struct ServerOrigin {
    // The first of these that qualifies: the environment's value, the stored credentials' origin,
    // scheme, host and port of the update feed ("SUFeedURL"), the placeholder.
    [[nodiscard]] static Url resolve(const std::string& environmentKey,
                                     const std::optional<Credentials>& credentials,
                                     const Url& placeholder,
                                     const platform::Environment& environment,
                                     const std::optional<platform::InfoDictionary>& infoDictionary);
};

} // namespace tessel
