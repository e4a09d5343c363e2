// The main menu and the status item of a desktop without a bar for either: both live in the header
// bars of the application's windows (HeaderBar.h). The main menu's keys work in every window. Main
// thread only.
#pragma once

#include "platform/linux/window/HeaderBar.h"
#include "platform/linux/window/Toplevels.h"

#include <gtkmm/aboutdialog.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform::gtk {

// The application as the About dialog has it; each may be empty.
struct AboutApplication {
    std::string name;
    std::string version;
    std::string copyright;
};

class MenuBars {
  public:
    // The status item's menu, later.
    using AskForStatusMenu = std::function<void(std::function<void(const Menu&)>)>;

    MenuBars(Toplevels& toplevels, AskForStatusMenu askForStatusMenu);

    void setAbout(AboutApplication about) { about_ = std::move(about); }
    // Every window with a web view gets a header bar, before it is shown. The About dialog goes off
    // the screen with the last of them.
    void add(Gtk::Window& window);
    void remove(Gtk::Window& window);

    void setMainMenu(const Menu& menu);
    void setStatusItem(const StatusLooks& looks);
    void updateStatusMenu(const Menu& menu);
    void showAbout();

  private:
    void furnish(HeaderBar& bar);
    void setKeys(const Menu& menu);
    void hideAboutWithTheLast();
    [[nodiscard]] static std::string actionName(StandardAction command);

    Toplevels& toplevels_;
    AskForStatusMenu askForStatusMenu_;
    AboutApplication about_;
    std::vector<std::unique_ptr<HeaderBar>> bars_;
    std::optional<Menu> mainMenu_;
    StatusLooks status_;
    std::unique_ptr<Gtk::AboutDialog> dialog_;
};

} // namespace platform::gtk
