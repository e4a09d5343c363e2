// The server's link to an online account, as the application sees it: the server runs the exchange
// with the account service; here it is asked for the state and told to start. Every failure (no
// server, a refused connection, a reply that is not what it should be, or is larger than 1 MiB) is
// an absent result. The HTTP status is not looked at, redirects are not followed, and nothing is
// tried twice. The functions keep no state and may be called on any thread.
#pragma once

#include "mac/OstraCore/ServerUrl.h"
#include "platform/HttpClient.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ostra {

struct AccountStatus {
    bool linked = false;  // the server holds an account link
    bool pending = false; // a link attempt awaits approval
    std::optional<std::string> code = {};
    std::optional<Url> verifyURL = {}; // where the code is approved
    std::optional<Url> origin = {};    // the account service
    std::optional<std::string> serverName = {};

    [[nodiscard]] std::string menuLine() const;
    bool operator==(const AccountStatus&) const = default;
};

struct LinkStart {
    std::string code;
    Url verifyURL;

    bool operator==(const LinkStart&) const = default;
};

struct AccountLink {
    // `base` is the server's root. The completion runs on the session's thread and must not throw;
    // an exchange that takes longer than 60 s has failed.
    static void fetchStatus(const Url& base, platform::HttpClient& session,
                            std::function<void(std::optional<AccountStatus>)> completion);
    static void startLink(const Url& base, platform::HttpClient& session,
                          std::function<void(std::optional<LinkStart>)> completion);

    // Only "linked" is required; any other member of a wrong type counts as absent.
    [[nodiscard]] static std::optional<AccountStatus> parseStatus(std::string_view data);
    // Both members are required, and the code must not be empty.
    [[nodiscard]] static std::optional<LinkStart> parseStart(std::string_view data);

    // The account's page at the account service.
    [[nodiscard]] static std::optional<Url>
    accountPageURL(const std::optional<AccountStatus>& status);
};

} // namespace ostra
