// What all windows of this program have in common: the application's commands (actions of the
// group "app") with their keys, which come before the focused widget so that no page can take them
// away, and the order in which they were used. A window is taken off the list when it is destroyed.
// Main thread only.
#pragma once

#include <giomm/simpleactiongroup.h>
#include <gtkmm/window.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace platform::gtk {

class Toplevels {
  public:
    Toplevels();
    ~Toplevels();
    Toplevels(const Toplevels&) = delete;
    Toplevels& operator=(const Toplevels&) = delete;

    void add(Gtk::Window& window);
    void remove(Gtk::Window& window);

    void addCommand(const std::string& name, const std::function<void()>& command);
    // "app.quit", "<Control>q": instead of the key that the action had.
    void setKey(const std::string& action, const std::string& accelerator);

    // Brings the visible window used last to the front; `token` is the desktop's permission.
    void present(const std::string& token);
    [[nodiscard]] bool haveTheFocus() const;
    // Takes all off the screen.
    void hide();
    // The one used last, visible or not; null when there is none.
    [[nodiscard]] Gtk::Window* lastUsed() const;

  private:
    struct Entry {
        Gtk::Window* window;
        sigc::connection activity;
        GtkShortcutController* keys;
    };

    void giveKeys(Entry& entry);
    void used(Gtk::Window* window);

    Glib::RefPtr<Gio::SimpleActionGroup> commands_;
    std::map<std::string, std::string> keys_;
    std::vector<Entry> entries_; // the one used last first
};

} // namespace platform::gtk
