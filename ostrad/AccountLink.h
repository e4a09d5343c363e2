#pragma once

#include "ostrad/Catalogue.h"
#include "ostrad/LinkCode.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ostrad {

// The link of this server to an account: a device code is shown in one place and confirmed in
// another (the shape of RFC 8628). There is no online account service here; this class and the
// built-in approval page stand in for one, so that the whole exchange can be tried on one computer.
// The link itself is kept in the database; a code waits in memory, for ten minutes at most.
// Confined to the server's thread.
class AccountLink {
  public:
    using Now = std::function<std::chrono::steady_clock::time_point()>;
    using Letter = RandomBelow;

    enum class Outcome { done, wrongCode, nothingPending };

    AccountLink(Catalogue& store, Now clock, Letter randomLetter);

    [[nodiscard]] bool isLinked();
    [[nodiscard]] std::optional<std::string> pendingCode();

    // The code to confirm: the waiting one while at least half of its time is left, else a new one.
    std::string start();

    // Letter case and the dash do not matter. After five wrong codes the waiting one is void.
    Outcome approve(std::string_view code);
    Outcome deny(std::string_view code);
    void unlink();

  private:
    Outcome check(std::string_view code);
    void forgetWhatIsOver();

    struct Pending {
        std::string code;
        std::chrono::steady_clock::time_point startedAt;
        int wrongTries = 0;
    };

    Catalogue& catalogue;
    Now now;
    Letter letter;
    std::optional<Pending> pending;
};

// Uniform numbers from the system's source of randomness.
std::size_t systemRandomBelow(std::size_t below);

} // namespace ostrad
