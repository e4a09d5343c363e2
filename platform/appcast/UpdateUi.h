// Draws update panels, one at a time, in a window that does not block the rest of the application.
// Main thread only.
#pragma once

#include "platform/appcast/UpdatePanel.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace platform::appcast {

class UpdateUi {
  public:
    virtual ~UpdateUi() = default;

    // In the place of the panel shown before, in front of everything. An answer closes the panel;
    // `answered` is called once afterwards, unless the panel was replaced or closed from here.
    virtual void show(const UpdatePanel& panel, std::function<void(std::size_t)> answered) = 0;
    // Of a panel that shows progress; without a fraction it is not known.
    virtual void setProgress(const std::string& text, std::optional<double> fraction) = 0;
    virtual void bringToFront() = 0;
    virtual void close() = 0;
};

} // namespace platform::appcast
