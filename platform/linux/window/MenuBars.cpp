#include "platform/linux/window/MenuBars.h"

#include "platform/linux/GObjectPtr.h"
#include "platform/linux/window/ApplicationId.h"

#include <algorithm>
#include <utility>

namespace platform::gtk {
namespace {

// The application's own menu at the top level, the others below it: there is one button for all.
Menu forOneButton(const Menu& mainMenu) {
    Menu menu;
    for (std::size_t index = 0; index < mainMenu.size(); ++index) {
        if (index != 0) {
            menu.push_back(mainMenu[index]);
        }
    }
    if (!mainMenu.empty()) {
        menu.push_back({.separator = true});
        menu.insert(menu.end(), mainMenu.front().submenu.begin(), mainMenu.front().submenu.end());
    }
    return menu;
}

// The toolkit's theme draws nothing in front of an item that is off.
constexpr const char* menuStyle = "popover.menu check { border-color: alpha(currentColor, 0.6); }";

// Deprecated since GTK 4.12, which brought another.
G_GNUC_BEGIN_IGNORE_DEPRECATIONS
void showWhatIsOff() {
    const GObjectPtr<GtkCssProvider> style(gtk_css_provider_new());
    gtk_css_provider_load_from_data(style.get(), menuStyle, -1);
    gtk_style_context_add_provider_for_display(gdk_display_get_default(),
                                               GTK_STYLE_PROVIDER(style.get()),
                                               GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
}
G_GNUC_END_IGNORE_DEPRECATIONS

} // namespace

MenuBars::MenuBars(Toplevels& toplevels, AskForStatusMenu askForStatusMenu)
    : toplevels_(toplevels)
    , askForStatusMenu_(std::move(askForStatusMenu)) {
    toplevels_.addCommand("about", [this] { showAbout(); });
    showWhatIsOff();
}

void MenuBars::add(Gtk::Window& window) {
    bars_.push_back(
        std::make_unique<HeaderBar>(window, [this](std::function<void(const MenuModel&)> show) {
            askForStatusMenu_([show = std::move(show)](const Menu& menu) {
                show(makeMenuModel(menu, "status", actionName));
            });
        }));
    furnish(*bars_.back());
    window.signal_hide().connect([this] { hideAboutWithTheLast(); });
}

void MenuBars::remove(Gtk::Window& window) {
    std::erase_if(bars_, [&](const auto& bar) { return &bar->window() == &window; });
}

void MenuBars::furnish(HeaderBar& bar) {
    if (mainMenu_) {
        bar.showMainMenu(makeMenuModel(forOneButton(*mainMenu_), "menu", actionName), *mainMenu_);
    }
    bar.showStatusItem(status_);
}

void MenuBars::setMainMenu(const Menu& menu) {
    mainMenu_ = menu;
    setKeys(menu);
    for (const auto& bar : bars_) {
        furnish(*bar);
    }
}

std::string MenuBars::actionName(StandardAction command) {
    switch (command) {
    case StandardAction::orderFrontStandardAboutPanel:
        return "app.about";
    case StandardAction::hide:
        return "app.hide";
    case StandardAction::terminate:
        return "app.quit";
    case StandardAction::performMiniaturize:
        return "window.minimize";
    case StandardAction::performClose:
        return "window.close";
    default:
        return EditingCommands::actionName(command);
    }
}

// Those of the application and its windows only: an editing key is looked at after the focused
// widget had its chance (EditingCommands.h).
void MenuBars::setKeys(const Menu& menu) {
    for (const MenuItem& top : menu) {
        for (const MenuItem& item : top.submenu) {
            const std::string accelerator = acceleratorOf(item.keyEquivalent);
            if (!accelerator.empty() && item.standardAction &&
                EditingCommands::actionName(*item.standardAction).empty()) {
                toplevels_.setKey(actionName(*item.standardAction), accelerator);
            }
        }
    }
}

void MenuBars::setStatusItem(const StatusLooks& looks) {
    status_ = looks;
    for (const auto& bar : bars_) {
        bar->showStatusItem(status_);
    }
}

void MenuBars::updateStatusMenu(const Menu& menu) {
    for (const auto& bar : bars_) {
        bar->updateStatusMenu(makeMenuModel(menu, "status", actionName));
    }
}

void MenuBars::showAbout() {
    if (!dialog_) {
        dialog_ = std::make_unique<Gtk::AboutDialog>();
        toplevels_.add(*dialog_);
        dialog_->set_hide_on_close(true);
        dialog_->set_program_name(about_.name);
        dialog_->set_version(about_.version);
        dialog_->set_copyright(about_.copyright);
        dialog_->set_logo_icon_name(applicationId());
    }
    const auto used =
        std::ranges::find_if(bars_, [](const auto& bar) { return bar->window().is_active(); });
    if (used != bars_.end()) {
        dialog_->set_transient_for((*used)->window());
    }
    dialog_->present();
}

void MenuBars::hideAboutWithTheLast() {
    if (dialog_ &&
        std::ranges::none_of(bars_, [](const auto& bar) { return bar->window().get_visible(); })) {
        dialog_->set_visible(false);
    }
}

} // namespace platform::gtk
