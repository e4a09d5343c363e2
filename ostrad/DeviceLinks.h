#pragma once

#include "ostrad/AccountLink.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrad {

// Tokens for other programs of this user, given out in two ways: a program asks for a code which
// the user confirms on the approval page while the program polls (the shape of RFC 8628), or a page
// in a program's window asks for one after the user has allowed that browser session. This stands
// in for an online account service, so that both exchanges can be tried on one computer: nothing
// here asks for a token, and none is kept. Everything waits in memory, bounded in number and time.
// Confined to the server's thread.
class DeviceLinks {
  public:
    enum class Status { unknown, pending, approved, denied, expired };

    struct Started {
        std::string code;
        std::string pollToken;
        std::chrono::seconds life;
    };
    struct Polled {
        Status status = Status::unknown;
        std::string token = {};     // when approved
        std::string tokenName = {}; // when approved
    };

    static constexpr std::chrono::seconds codeLife{600};
    static constexpr std::size_t mostWaiting = 32;  // the oldest makes room
    static constexpr std::size_t mostSessions = 64; // the oldest makes room

    DeviceLinks(AccountLink::Now clock, AccountLink::Letter randomLetter);

    Started start(std::string name);
    // An approved link is told once; afterwards its poll token is unknown.
    Polled poll(std::string_view pollToken);

    [[nodiscard]] bool isWaitingFor(std::string_view code) const;
    // False when no link waits for that code. Letter case and the dash do not matter.
    bool approve(std::string_view code);
    bool deny(std::string_view code);
    // Somebody typed a code that nothing waits for; after five such tries a waiting code is void.
    void wrongCode();

    // A new browser session that may mint tokens.
    std::string allowSession();
    [[nodiscard]] bool isAllowed(std::string_view session) const;
    // A token of that browser session; nothing when it is not allowed.
    std::optional<std::string> mint(std::string_view session);

  private:
    struct Waiting {
        std::string pollToken;
        std::string code;
        std::string name;
        std::chrono::steady_clock::time_point startedAt;
        Status status = Status::pending;
        int wrongTries = 0;
    };

    std::string secret();
    [[nodiscard]] bool waitsFor(const Waiting& link, std::string_view code) const;
    bool settle(std::string_view code, Status status);

    AccountLink::Now now_;
    AccountLink::Letter letter_;
    std::vector<Waiting> waiting_;      // oldest first
    std::vector<std::string> sessions_; // oldest first
};

} // namespace ostrad
