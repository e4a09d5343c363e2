// The clipboard, by way of the window program: what was put there is put there again by the next
// one when it died, unless another program has put something else there since. Main thread only.
#pragma once

#include "platform/Pasteboard.h"
#include "platform/linux/WindowHost.h"

#include <optional>
#include <string>

namespace platform::desktop {

class RemotePasteboard final : public Pasteboard, private WindowClient {
  public:
    explicit RemotePasteboard(WindowHost& host);

    void setText(std::string_view text) override;

  private:
    void sayAgain() override;
    [[nodiscard]] bool isNeeded() const override { return text_.has_value(); }
    void gaveUp() override { text_.reset(); }
    void taken() { text_.reset(); }

    WindowHost& host_;
    std::optional<std::string> text_; // while it is ours
};

} // namespace platform::desktop
