// The clipboard, by way of the window program: what was put there is put there again by the next
// one when it died, unless another program has put something else there since. A text that the
// desktop does not let be put there is handed to `onRefused`. Main thread only.
#pragma once

#include "platform/Pasteboard.h"
#include "platform/linux/ActivationTokens.h"
#include "platform/linux/WindowHost.h"

#include <functional>
#include <optional>
#include <string>

namespace platform::desktop {

class RemotePasteboard final : public Pasteboard, private WindowClient {
  public:
    // Both outlive this object.
    RemotePasteboard(WindowHost& host, ActivationTokens& tokens);

    void setText(std::string_view text) override;

    std::function<void(const std::string& text)> onRefused;

  private:
    void sayAgain() override;
    [[nodiscard]] bool isNeeded() const override { return text_.has_value(); }
    void gaveUp() override { text_.reset(); }
    void taken() { text_.reset(); }
    void refused();

    WindowHost& host_;
    ActivationTokens& tokens_;
    std::optional<std::string> text_; // while it is ours
};

} // namespace platform::desktop
