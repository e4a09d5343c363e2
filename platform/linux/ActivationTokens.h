// The desktop's permission to take the focus: the token that came with the user's last deed (a
// launch, a click in the tray), until it is used, which is possible once. Tokens are opaque words
// of the desktop's; nothing else is passed on to it. Main thread only.
#pragma once

#include <algorithm>
#include <string>
#include <utility>

namespace platform::desktop {

class ActivationTokens {
  public:
    // In the place of the one before.
    void give(std::string token) { token_ = isOne(token) ? std::move(token) : std::string(); }
    // Empty when there is none.
    [[nodiscard]] std::string take() { return std::exchange(token_, {}); }

  private:
    static bool isOne(const std::string& token) {
        constexpr std::size_t longest = 1024;
        return token.size() <= longest &&
               std::ranges::all_of(token, [](char c) { return c > ' ' && c < 127; });
    }

    std::string token_;
};

} // namespace platform::desktop
