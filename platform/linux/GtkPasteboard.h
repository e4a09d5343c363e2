// The clipboard of the default display (GdkClipboard). The text belongs to the display's
// connection and not to a window, so it stays while the application runs. Main thread only.
#pragma once

#include "platform/Pasteboard.h"

namespace platform::gtk {

class GtkPasteboard final : public Pasteboard {
  public:
    void setText(std::string_view text) override;
};

} // namespace platform::gtk
