#include "platform/linux/window/Clipboard.h"

#include "platform/linux/window/Present.h"

#include <glibmm/main.h>
#ifdef GDK_WINDOWING_X11
#include <gdk/x11/gdkx.h>
#endif

namespace platform::gtk {
namespace {

// A desktop that gives the focus does so at once.
constexpr unsigned focusPatienceMilliseconds = 1500;
// The compositor has to see that the window with the focus set the clipboard.
constexpr unsigned farewellMilliseconds = 200;

// GDK deprecates whatever is about X11 since 4.18.
G_GNUC_BEGIN_IGNORE_DEPRECATIONS

bool anyProgramMayCopy(GdkDisplay* display) {
#ifdef GDK_WINDOWING_X11
    return GDK_IS_X11_DISPLAY(display);
#else
    (void)display;
    return false;
#endif
}

G_GNUC_END_IGNORE_DEPRECATIONS

} // namespace

Clipboard::Clipboard(const Toplevels& windows, Events events)
    : windows_(windows)
    , events_(std::move(events))
    , display_(gdk_display_get_default())
    , control_(display_, events_.taken) {
    g_signal_connect(gdk_display_get_clipboard(display_), "changed", G_CALLBACK(onChanged), this);
}

Clipboard::~Clipboard() {
    endTheFocus();
    g_signal_handlers_disconnect_by_data(gdk_display_get_clipboard(display_), this);
}

void Clipboard::setText(const std::string& text, const std::string& token) {
    endTheFocus();
    if (control_.isThere()) {
        control_.setText(text);
    } else if (anyProgramMayCopy(display_) || windows_.haveTheFocus()) {
        give(text);
    } else if (!token.empty()) {
        takeTheFocus(text, token);
    } else {
        events_.refused();
    }
}

void Clipboard::give(const std::string& text) {
    isOurs_ = true;
    gdk_clipboard_set_text(gdk_display_get_clipboard(display_), text.c_str());
}

void Clipboard::takeTheFocus(const std::string& text, const std::string& token) {
    tiny_ = std::make_unique<Gtk::Window>();
    tiny_->set_decorated(false);
    tiny_->set_default_size(1, 1);
    activity_ = tiny_->property_is_active().signal_changed().connect([this, text] {
        if (tiny_->is_active()) {
            patience_.disconnect();
            give(text);
            patience_ = Glib::signal_timeout().connect(
                [this] {
                    endTheFocus();
                    return false;
                },
                farewellMilliseconds);
        }
    });
    patience_ = Glib::signal_timeout().connect(
        [this] {
            endTheFocus();
            events_.refused();
            return false;
        },
        focusPatienceMilliseconds);
    present(*tiny_, token);
}

void Clipboard::endTheFocus() {
    patience_.disconnect();
    activity_.disconnect(); // newer toolkits tell of it while the window goes
    tiny_.reset();
}

void Clipboard::onChanged(GdkClipboard* clipboard, gpointer data) {
    auto* const self = static_cast<Clipboard*>(data);
    if (self->isOurs_ && gdk_clipboard_is_local(clipboard) == FALSE) {
        self->isOurs_ = false;
        self->events_.taken();
    }
}

} // namespace platform::gtk
