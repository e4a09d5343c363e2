#include "platform/linux/RemoteMenuBar.h"

#include "platform/linux/tray/MenuContinuity.h"

#include <utility>

namespace platform::desktop {

RemoteMenuBar::RemoteMenuBar(std::string applicationId, WindowHost& host, ActivationTokens& tokens,
                             const Bundle& bundle, Log& log, Commands commands)
    : applicationId_(std::move(applicationId))
    , host_(host)
    , tokens_(tokens)
    , bundle_(bundle)
    , log_(log)
    , commands_(std::move(commands)) {
    host_.calls().on("CommandChosen", this, &RemoteMenuBar::commandChosen);
    host_.calls().on("ItemChosen", this, &RemoteMenuBar::itemChosen);
    host_.calls().onQuestion("OpenStatusMenu", this, &RemoteMenuBar::openStatusMenu);
    host_.add(*this);
}

void RemoteMenuBar::setMainMenu(const Menu& menu) {
    mainMenu_ = Said{.edition = host_.newId(), .menu = menu};
    tellMainMenu();
}

void RemoteMenuBar::tellMainMenu() {
    if (!mainMenu_) {
        return;
    }
    host_.tell("SetMainMenu", mainMenu_->edition, connection::entriesOf(mainMenu_->menu));
}

std::unique_ptr<StatusItem> RemoteMenuBar::makeStatusItem() {
    return std::make_unique<tray::TrayStatusItem>(
        applicationId_, bundle_.resourcesPath().value_or(std::filesystem::path()),
        static_cast<tray::StatusItemObserver*>(this), log_);
}

void RemoteMenuBar::statusItemChanged(tray::TrayStatusItem& item) {
    const bool wasShown = homeless_ != nullptr;
    homeless_ = item.place() == tray::TrayStatusItem::Place::nowhere ? &item : nullptr;
    if (wasShown || homeless_ != nullptr) {
        tellStatusItem();
        tellStatusMenu();
    }
}

void RemoteMenuBar::tellStatusMenu() {
    if (homeless_ == nullptr || statusMenu_.edition == 0) {
        return;
    }
    Menu shown = tray::keptInPlace(statusMenu_.menu, homeless_->latestMenu());
    if (connection::entriesOf(shown) != connection::entriesOf(statusMenu_.menu)) {
        host_.tell("UpdateStatusMenu", statusMenu_.edition, connection::entriesOf(shown));
    }
    statusMenu_.menu = std::move(shown);
}

void RemoteMenuBar::statusItemGone(tray::TrayStatusItem& /*item*/) {
    homeless_ = nullptr;
    tellStatusItem();
}

void RemoteMenuBar::tellStatusItem() {
    if (homeless_ == nullptr) {
        host_.tell("SetStatusItem", false, std::string(), std::string(), std::string(),
                   std::string());
        return;
    }
    const auto& looks = homeless_->looks();
    host_.tell("SetStatusItem", true, looks.symbol.value_or(""), looks.title,
               looks.symbol ? looks.description : looks.title, looks.toolTip.value_or(""));
}

void RemoteMenuBar::sayAgain() {
    tellMainMenu();
    if (homeless_ != nullptr) {
        tellStatusItem();
    }
}

void RemoteMenuBar::commandChosen(std::int32_t command) {
    switch (connection::standardActionOf(command).value_or(StandardAction::copy)) {
    case StandardAction::terminate:
        commands_.terminate();
        break;
    case StandardAction::hide:
        commands_.hide();
        break;
    default: // the others are the window's own
        break;
    }
}

// Items of an earlier edition do nothing, and neither do those that nobody could have chosen.
void RemoteMenuBar::itemChosen(std::uint64_t edition, std::uint32_t place) {
    const Said* said = nullptr;
    if (mainMenu_ && edition == mainMenu_->edition) {
        said = &*mainMenu_;
    } else if (edition == statusMenu_.edition && edition != 0) {
        said = &statusMenu_;
    }
    const MenuItem* const item = said == nullptr ? nullptr : connection::itemAt(said->menu, place);
    if (item != nullptr && item->enabled && !item->separator && item->action) {
        const auto action = item->action; // which may end the menu that holds it
        action();
    }
}

void RemoteMenuBar::openStatusMenu(connection::Reply reply) {
    statusMenu_ = {.edition = host_.newId(), .menu = {}};
    if (homeless_ != nullptr && homeless_->onMenuNeedsUpdate) {
        statusMenu_.menu = homeless_->onMenuNeedsUpdate();
    }
    reply(statusMenu_.edition, connection::entriesOf(statusMenu_.menu));
}

} // namespace platform::desktop
