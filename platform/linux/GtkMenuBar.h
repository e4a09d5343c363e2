// The main menu and the status bar of a desktop without either: both live in the tray and in the
// header bars of the application's windows (HeaderBar.h). Every application window that is made
// gets a header bar. The main menu's keys work in every window. Main thread only.
#pragma once

#include "platform/Bundle.h"
#include "platform/Log.h"
#include "platform/StatusItem.h"
#include "platform/linux/GtkApplication.h"
#include "platform/linux/HeaderBar.h"
#include "platform/linux/tray/TrayStatusItem.h"

#include <gtkmm/aboutdialog.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform::gtk {

class GtkMenuBar final : public MenuBar, public StatusBar, private tray::StatusItemObserver {
  public:
    GtkMenuBar(std::string applicationId, GtkApplication& application, const Bundle& bundle,
               Log& log);
    ~GtkMenuBar() override;
    GtkMenuBar(const GtkMenuBar&) = delete;
    GtkMenuBar& operator=(const GtkMenuBar&) = delete;

    void setMainMenu(const Menu& menu) override;
    [[nodiscard]] std::unique_ptr<StatusItem> makeStatusItem() override;

  private:
    void statusItemChanged(tray::TrayStatusItem& item) override;
    void statusItemGone(tray::TrayStatusItem& item) override;

    void windowAdded(Gtk::Window* window);
    void windowRemoved(Gtk::Window* window);
    void furnish(HeaderBar& bar);
    void setAccelerators(const Menu& menu);
    void showAbout();
    [[nodiscard]] std::string actionName(StandardAction command) const;

    std::string applicationId_;
    GtkApplication& application_;
    const Bundle& bundle_;
    Log& log_;
    std::vector<std::unique_ptr<HeaderBar>> bars_;
    std::optional<Menu> mainMenu_;
    tray::TrayStatusItem* homeless_ = nullptr; // the status item while no tray shows it
    bool symbolsKnown_ = false;
    std::unique_ptr<Gtk::AboutDialog> about_;
    std::vector<sigc::connection> connections_;
};

} // namespace platform::gtk
