// Undo, redo, cut, copy, paste and select all for whatever is being edited in a window: its web
// view, or a text entry. They stay meant for that while a menu has the focus for a moment. Their
// keys are looked at only after the focused widget had its chance, so a page may use them for
// itself, as it may on other systems. A page in which nothing is selected is not told to copy or to
// cut. Main thread only; lives as long as its window.
#pragma once

#include "platform/Menu.h"
#include "platform/linux/GObjectPtr.h"

#include <gtkmm/window.h>
#include <webkit/webkit.h>

#include <deque>
#include <optional>
#include <string>

namespace platform::gtk {

class EditingCommands {
  public:
    struct Command;

    explicit EditingCommands(Gtk::Window& window);
    ~EditingCommands();
    EditingCommands(const EditingCommands&) = delete;
    EditingCommands& operator=(const EditingCommands&) = delete;

    // "edit.copy" and so on; empty when the command is not about editing.
    [[nodiscard]] static std::string actionName(StandardAction command);

    // The keys of the menu's editing commands, instead of those before.
    void setAccelerators(const Menu& mainMenu);

  private:
    void focusChanged();
    void perform(StandardAction command);
    void performWaiting(WebKitWebView* view);
    static void onAnswered(GObject* view, GAsyncResult* result, gpointer self);
    void removeAccelerators();

    Gtk::Window& window_;
    sigc::connection focusWatch_;
    GWeakRef target_{};                  // the widget being edited
    std::deque<const Command*> waiting_; // for the page's answer to the first
    GObjectPtr<GCancellable> asking_;
    GtkShortcutController* accelerators_ = nullptr; // owned by the window
};

} // namespace platform::gtk
