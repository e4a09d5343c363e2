// The general pasteboard (clipboard). Main thread only.
#pragma once

#include <string_view>

namespace platform {

class Pasteboard {
  public:
    virtual ~Pasteboard() = default;

    // Replaces whatever is there by this plain text (UTF-8). It stays available while the
    // application runs, whichever of its windows and menus are open.
    virtual void setText(std::string_view text) = 0;
};

} // namespace platform
