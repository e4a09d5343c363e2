#include "mac/Tessel/Application/AppPresence.h"

#include "mac/Tessel/Application/MainMenu.h"

#include <utility>

namespace tessel {
namespace {

void showText(platform::StatusItem& item, std::string_view text) {
    item.clearImage();
    item.setTitle(text);
}

void apply(const AppPresence::Glyph& glyph, platform::StatusItem& item,
           const std::string& appName) {
    if (const auto* text = std::get_if<AppPresence::TextGlyph>(&glyph)) {
        showText(item, text->text);
        return;
    }
    const auto& symbol = std::get<AppPresence::SymbolGlyph>(glyph);
    if (item.setSymbol(symbol.name, appName)) {
        item.setTitle("");
    } else {
        showText(item, symbol.fallback);
    }
}

} // namespace

AppPresence::AppPresence(std::string appName, const Facilities& facilities)
    : appName_(std::move(appName))
    , facilities_(facilities) {}

void AppPresence::install(const Glyph& glyph, bool dockIcon, const platform::Menu& appMenuExtras) {
    setDockIconVisible(dockIcon);
    facilities_.menuBar.setMainMenu(MainMenu::build(appName_, appMenuExtras));
    statusItem_ = facilities_.statusBar.makeStatusItem();
    apply(glyph, *statusItem_, appName_);
    statusItem_->setToolTip(appName_);
    statusItem_->onMenuNeedsUpdate = [this] {
        platform::Menu menu;
        menuNeedsUpdate(menu);
        return menu;
    };
    statusItem_->onActivate = [this] {
        if (onOpenMainWindow) {
            onOpenMainWindow();
        }
    };
}

void AppPresence::setDockIconVisible(bool visible) {
    facilities_.application.setActivationPolicy(visible ? platform::ActivationPolicy::regular
                                                        : platform::ActivationPolicy::accessory);
}

void AppPresence::setStatusGlyph(const Glyph& glyph) {
    if (statusItem_) {
        apply(glyph, *statusItem_, appName_);
    }
}

void AppPresence::setStatusText(std::string_view text, std::optional<std::string_view> toolTip) {
    if (!statusItem_) {
        return;
    }
    showText(*statusItem_, text);
    if (toolTip) {
        statusItem_->setToolTip(toolTip);
    }
}

void AppPresence::setStatusToolTip(std::optional<std::string_view> toolTip) {
    if (statusItem_) {
        statusItem_->setToolTip(toolTip);
    }
}

bool AppPresence::statusMenuIsKept() const {
    return statusItem_ && statusItem_->keepsMenu();
}

void AppPresence::statusMenuChanged(const platform::Menu& menu) {
    if (statusItem_) {
        statusItem_->menuChanged(menu);
    }
}

bool AppPresence::handleReopen(bool hasVisibleWindows) {
    if (!hasVisibleWindows && onOpenMainWindow) {
        onOpenMainWindow();
    }
    return true;
}

void AppPresence::menuNeedsUpdate(platform::Menu& menu) {
    menu.clear();
    if (buildStatusMenu) {
        buildStatusMenu(menu);
    }
}

platform::MenuItem AppPresence::menuItem(std::string title, std::function<void()> action) {
    platform::MenuItem item;
    item.title = std::move(title);
    item.action = std::move(action);
    return item;
}

platform::MenuItem AppPresence::infoItem(std::string title) {
    platform::MenuItem item;
    item.title = std::move(title);
    item.enabled = false;
    return item;
}

} // namespace tessel
