// The general pasteboard (NSPasteboard). Main thread only.
#pragma once

#include "platform/Pasteboard.h"

namespace platform::cocoa {

class CocoaPasteboard final : public Pasteboard {
  public:
    void setText(std::string_view text) override;
};

} // namespace platform::cocoa
