#include "platform/linux/GtkMenuBar.h"

#include <fmt/format.h>
#include <gdkmm/pixbuf.h>
#include <gtkmm/icontheme.h>

#include <utility>

namespace platform::gtk {
namespace {

constexpr int logoPixels = 128;

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

} // namespace

GtkMenuBar::GtkMenuBar(std::string applicationId, GtkApplication& application, const Bundle& bundle,
                       Log& log)
    : applicationId_(std::move(applicationId))
    , application_(application)
    , bundle_(bundle)
    , log_(log) {
    const auto& toolkit = application_.toolkit();
    toolkit->add_action("hide", [this] { application_.hide(); });
    toolkit->add_action("about", [this] { showAbout(); });
    connections_ = {
        toolkit->signal_window_added().connect(
            [this](Gtk::Window* window) { windowAdded(window); }),
        toolkit->signal_window_removed().connect(
            [this](Gtk::Window* window) { windowRemoved(window); }),
    };
}

GtkMenuBar::~GtkMenuBar() {
    for (sigc::connection& connection : connections_) {
        connection.disconnect();
    }
}

void GtkMenuBar::windowAdded(Gtk::Window* window) {
    if (auto* const main = dynamic_cast<Gtk::ApplicationWindow*>(window)) {
        bars_.push_back(std::make_unique<HeaderBar>(*main));
        furnish(*bars_.back());
    }
}

void GtkMenuBar::windowRemoved(Gtk::Window* window) {
    std::erase_if(bars_, [&](const auto& bar) { return &bar->window() == window; });
}

void GtkMenuBar::furnish(HeaderBar& bar) {
    const auto names = [this](StandardAction command) { return actionName(command); };
    if (mainMenu_) {
        bar.showMainMenu(makeMenuModel(forOneButton(*mainMenu_), "menu", names), *mainMenu_);
    }
    bar.showStatusItem(homeless_, names);
}

void GtkMenuBar::setMainMenu(const Menu& menu) {
    mainMenu_ = menu;
    setAccelerators(menu);
    for (const auto& bar : bars_) {
        furnish(*bar);
    }
}

std::string GtkMenuBar::actionName(StandardAction command) const {
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

// Those of the application and its windows come before the focused widget; no page can take away
// the key that closes it.
void GtkMenuBar::setAccelerators(const Menu& menu) {
    for (const MenuItem& top : menu) {
        for (const MenuItem& item : top.submenu) {
            const std::string accelerator = acceleratorOf(item.keyEquivalent);
            if (!accelerator.empty() && item.standardAction &&
                EditingCommands::actionName(*item.standardAction).empty()) {
                application_.toolkit()->set_accels_for_action(actionName(*item.standardAction),
                                                              {accelerator});
            }
        }
    }
}

std::unique_ptr<StatusItem> GtkMenuBar::makeStatusItem() {
    return std::make_unique<tray::TrayStatusItem>(
        applicationId_, bundle_.resourcesPath().value_or(std::filesystem::path()),
        static_cast<tray::StatusItemObserver*>(this), log_);
}

void GtkMenuBar::statusItemChanged(tray::TrayStatusItem& item) {
    homeless_ = item.place() == tray::TrayStatusItem::Place::nowhere ? &item : nullptr;
    if (homeless_ != nullptr && !std::exchange(symbolsKnown_, true)) {
        if (const auto folder = bundle_.resourcesPath()) {
            Gtk::IconTheme::get_for_display(Gdk::Display::get_default())
                ->add_search_path(folder->string());
        }
    }
    for (const auto& bar : bars_) {
        bar->showStatusItem(homeless_,
                            [this](StandardAction command) { return actionName(command); });
    }
}

void GtkMenuBar::statusItemGone(tray::TrayStatusItem& /*item*/) {
    homeless_ = nullptr;
    for (const auto& bar : bars_) {
        bar->showStatusItem(nullptr, {});
    }
}

void GtkMenuBar::showAbout() {
    if (!about_) {
        about_ = std::make_unique<Gtk::AboutDialog>();
        about_->set_hide_on_close(true);
        about_->set_program_name(bundle_.infoString("CFBundleName").value_or(applicationId_));
        const std::string version = bundle_.infoString("CFBundleShortVersionString").value_or("");
        const std::string build = bundle_.infoString("CFBundleVersion").value_or("");
        about_->set_version(build.empty() ? version : fmt::format("{} ({})", version, build));
        about_->set_copyright(bundle_.infoString("NSHumanReadableCopyright").value_or(""));
        const auto folder = bundle_.resourcesPath();
        const auto icon = bundle_.infoString("CFBundleIconFile");
        if (folder && icon) {
            try {
                about_->set_logo(Gdk::Texture::create_for_pixbuf(Gdk::Pixbuf::create_from_file(
                    (*folder / (*icon + ".svg")).string(), logoPixels, logoPixels)));
            } catch (const Glib::Error& error) {
                log_.write(fmt::format("cannot show the icon: {}", error.what()));
            }
        }
    }
    if (Gtk::Window* const active = application_.toolkit()->get_active_window()) {
        about_->set_transient_for(*active);
    }
    about_->present();
}

} // namespace platform::gtk
