#include "platform/linux/RemotePasteboard.h"

namespace platform::desktop {

RemotePasteboard::RemotePasteboard(WindowHost& host)
    : host_(host) {
    host_.calls().on("ClipboardTaken", this, &RemotePasteboard::taken);
    host_.add(*this);
}

void RemotePasteboard::setText(std::string_view text) {
    text_ = text;
    host_.tell("SetClipboard", *text_);
    host_.require();
}

void RemotePasteboard::sayAgain() {
    if (text_) {
        host_.tell("SetClipboard", *text_);
    }
}

} // namespace platform::desktop
