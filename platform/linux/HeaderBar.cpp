#include "platform/linux/HeaderBar.h"

#include "platform/linux/tray/SymbolFile.h"

#include <gtkmm/headerbar.h>
#include <gtkmm/popovermenu.h>

namespace platform::gtk {

HeaderBar::HeaderBar(Gtk::ApplicationWindow& window)
    : window_(window)
    , editing_(window)
    , mainButton_(*Gtk::make_managed<Gtk::MenuButton>())
    , statusButton_(*Gtk::make_managed<Gtk::MenuButton>()) {
    mainButton_.set_icon_name("open-menu-symbolic");
    mainButton_.set_primary(true); // F10
    mainButton_.set_visible(false);
    statusButton_.set_visible(false);
    statusButton_.set_create_popup_func([this] { fillStatusMenu(); });
    auto& bar = *Gtk::make_managed<Gtk::HeaderBar>();
    bar.pack_start(statusButton_);
    bar.pack_end(mainButton_);
    window_.set_titlebar(bar);
}

void HeaderBar::showMainMenu(const GtkMenuModel& menu, const Menu& value) {
    window_.insert_action_group("menu", menu.actions);
    mainButton_.set_menu_model(menu.model);
    mainButton_.set_visible(true);
    editing_.setAccelerators(value);
}

void HeaderBar::showStatusItem(tray::TrayStatusItem* item,
                               const StandardActionNames& standardActions) {
    statusItem_ = item;
    standardActions_ = standardActions;
    if (item == nullptr) {
        statusButton_.popdown();
        statusButton_.set_visible(false);
        return;
    }
    const auto& looks = item->looks();
    if (looks.symbol) {
        statusButton_.set_icon_name(tray::symbolIconName(*looks.symbol));
    } else {
        statusButton_.set_label(looks.title);
    }
    statusButton_.set_tooltip_text(looks.toolTip.value_or(""));
    statusButton_.set_visible(true);
}

void HeaderBar::fillStatusMenu() {
    if (statusItem_ == nullptr || !statusItem_->onMenuNeedsUpdate) {
        return;
    }
    const GtkMenuModel menu =
        makeMenuModel(statusItem_->onMenuNeedsUpdate(), "status", standardActions_);
    window_.insert_action_group("status", menu.actions);
    statusButton_.set_popover(*Gtk::make_managed<Gtk::PopoverMenu>(menu.model));
}

} // namespace platform::gtk
