#include "platform/linux/RemotePasteboard.h"

#include <utility>

namespace platform::desktop {

RemotePasteboard::RemotePasteboard(WindowHost& host, ActivationTokens& tokens)
    : host_(host)
    , tokens_(tokens) {
    host_.calls().on("ClipboardTaken", this, &RemotePasteboard::taken);
    host_.calls().on("ClipboardRefused", this, &RemotePasteboard::refused);
    host_.add(*this);
}

void RemotePasteboard::setText(std::string_view text) {
    text_ = text;
    host_.tell("SetClipboard", *text_, tokens_.take());
    host_.require();
}

void RemotePasteboard::refused() {
    const auto text = std::exchange(text_, std::nullopt);
    if (text && onRefused) {
        onRefused(*text);
    }
}

void RemotePasteboard::sayAgain() {
    if (text_) {
        host_.tell("SetClipboard", *text_, std::string());
    }
}

} // namespace platform::desktop
