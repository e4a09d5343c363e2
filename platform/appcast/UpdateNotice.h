// Tells the user of an update without taking the foreground: one notification of the desktop at a
// time. A desktop without notifications shows nothing; the menu's own entry leads to the update
// all the same. Main thread only.
#pragma once

#include <functional>
#include <string>

namespace platform::appcast {

struct UpdateNotification {
    std::string title; // plain text, as the text
    std::string text;
    std::string action; // what opening it does, on a button; empty: nothing
    bool isCritical = false;

    bool operator==(const UpdateNotification&) const = default;
};

class UpdateNotice {
  public:
    virtual ~UpdateNotice() = default;

    // In the place of the one shown before. `opened` is called when the user follows it, at most
    // once, and never after withdraw().
    virtual void show(const UpdateNotification& notification, std::function<void()> opened) = 0;
    virtual void withdraw() = 0;
};

} // namespace platform::appcast
