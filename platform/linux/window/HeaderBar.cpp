#include "platform/linux/window/HeaderBar.h"

#include <gtkmm/headerbar.h>
#include <gtkmm/popovermenu.h>

#include <algorithm>
#include <utility>

namespace platform::gtk {
namespace {

// As the bundle's theme has it: in the name of a picture of pixels GTK takes the first dot for the
// end.
std::string iconOf(std::string symbol) {
    std::ranges::replace(symbol, '.', '-');
    return symbol + "-symbolic";
}

// What assistive technology calls a button that shows a symbol only: its one part that takes the
// focus. The tool tip describes it.
void name(Gtk::MenuButton& button, const std::string& name) {
    GtkWidget* const toggle = gtk_widget_get_first_child(GTK_WIDGET(button.gobj()));
    gtk_accessible_update_property(GTK_ACCESSIBLE(toggle), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                   name.c_str(), -1);
}

} // namespace

HeaderBar::HeaderBar(Gtk::Window& window, OpenStatusMenu openStatusMenu)
    : window_(window)
    , editing_(window)
    , openStatusMenu_(std::move(openStatusMenu))
    , mainButton_(*Gtk::make_managed<Gtk::MenuButton>())
    , statusButton_(*Gtk::make_managed<Gtk::MenuButton>()) {
    mainButton_.set_icon_name("open-menu-symbolic");
    mainButton_.set_primary(true); // F10
    name(mainButton_, "Main Menu");
    mainButton_.set_tooltip_text("Commands of the application and its windows");
    mainButton_.set_visible(false);
    statusButton_.set_visible(false);
    statusButton_.set_create_popup_func([this] { this->openStatusMenu(); });
    auto& bar = *Gtk::make_managed<Gtk::HeaderBar>();
    bar.pack_start(statusButton_);
    bar.pack_end(mainButton_);
    window_.set_titlebar(bar);
}

HeaderBar::~HeaderBar() {
    *alive_ = false;
}

void HeaderBar::showMainMenu(const MenuModel& menu, const Menu& value) {
    window_.insert_action_group("menu", menu.actions);
    mainButton_.set_menu_model(menu.model);
    mainButton_.set_visible(true);
    editing_.setAccelerators(value);
}

void HeaderBar::showStatusItem(const StatusLooks& looks) {
    if (!looks.shown) {
        statusButton_.popdown();
        statusButton_.set_visible(false);
        return;
    }
    if (!looks.symbol.empty()) {
        statusButton_.set_icon_name(iconOf(looks.symbol));
    } else {
        statusButton_.set_label(looks.title);
    }
    toolTip_ = looks.toolTip;
    showToolTip();
    name(statusButton_, looks.description);
    statusButton_.set_visible(true);
}

// It would lie over the open menu and say what that says.
void HeaderBar::showToolTip() {
    statusButton_.set_tooltip_text(menuIsOpen_ ? std::string() : toolTip_);
}

void HeaderBar::updateStatusMenu(const MenuModel& menu) {
    auto* const popover = dynamic_cast<Gtk::PopoverMenu*>(statusButton_.get_popover());
    if (popover != nullptr && popover->get_visible()) {
        window_.insert_action_group("status", menu.actions);
        popover->set_menu_model(menu.model);
        // The item that had the keyboard has gone with the rest.
        popover->child_focus(Gtk::DirectionType::TAB_FORWARD);
    }
}

// The button is down already; the menu follows as soon as it is known.
void HeaderBar::openStatusMenu() {
    gtk_menu_button_set_popover(statusButton_.gobj(), nullptr);
    openStatusMenu_([this, alive = alive_](const MenuModel& menu) {
        if (!*alive) {
            return;
        }
        window_.insert_action_group("status", menu.actions);
        auto& popover = *Gtk::make_managed<Gtk::PopoverMenu>(menu.model);
        statusButton_.set_popover(popover);
        popover.signal_closed().connect([this, alive] {
            if (*alive) {
                menuIsOpen_ = false;
                showToolTip();
            }
        });
        menuIsOpen_ = true;
        showToolTip();
        popover.popup();
    });
}

} // namespace platform::gtk
