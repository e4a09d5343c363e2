// The clipboard, on every kind of desktop: X11 lets any program set it. On Wayland that is the
// compositor's data control (DataControl.h) where there is one; elsewhere only a program whose
// window has the focus may, so a tiny window takes it for a moment by the permission that came with
// the user's click. Where nothing of this works the owner is told. Main thread only.
#pragma once

#include "platform/linux/window/DataControl.h"
#include "platform/linux/window/Toplevels.h"

#include <gtkmm/window.h>

#include <functional>
#include <memory>
#include <string>

namespace platform::gtk {

class Clipboard {
  public:
    struct Events {
        std::function<void()> taken;   // another program has put something there
        std::function<void()> refused; // the text could not be put there
    };

    // The windows, any of which may have the focus, outlive this object.
    Clipboard(const Toplevels& windows, Events events);
    ~Clipboard();
    Clipboard(const Clipboard&) = delete;
    Clipboard& operator=(const Clipboard&) = delete;

    // `token` is the desktop's permission to take the focus, or empty.
    void setText(const std::string& text, const std::string& token);

  private:
    static void onChanged(GdkClipboard* clipboard, gpointer self);

    void give(const std::string& text);
    void takeTheFocus(const std::string& text, const std::string& token);
    void endTheFocus();

    const Toplevels& windows_;
    Events events_;
    GdkDisplay* display_;
    DataControl control_;
    bool isOurs_ = false;
    std::unique_ptr<Gtk::Window> tiny_;
    sigc::connection activity_; // of that window
    sigc::connection patience_;
};

} // namespace platform::gtk
