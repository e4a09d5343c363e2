// The delegate's side of the status menu: what feeds it and what its actions do.
#include "mac/Tessel/Application/LoginItem.h"
#include "mac/Zorvane/AppDelegate.h"

#include <fmt/format.h>

#include <utility>

namespace zorvane {

std::optional<ostra::Url> AppDelegate::serverURL() const {
    return serverUrl(supervisor_->state());
}

StatusMenuContents AppDelegate::menuContents() const {
    const platform::Bundle& bundle = facilities_.supervisor.bundle;
    return {.shortVersion = bundle.infoString("CFBundleShortVersionString"),
            .bundleVersion = bundle.infoString("CFBundleVersion"),
            .state = supervisor_->state(),
            .account = accountStatus_,
            .library = library_->current(),
            .libraryFetchInFlight = library_->fetchInFlight(),
            .startsAtLogin = tessel::LoginItem::isEnabled(facilities_.loginService),
            .canUpdate = updater_ != nullptr};
}

void AppDelegate::populateStatusMenu(platform::Menu& menu) {
    if (serverURL()) {
        library_->refresh(/*force=*/false);
    }
    menu = drawn(statusMenu(menuContents(), facilities_.numbers));
    refreshAccountStatus();
}

platform::Menu AppDelegate::drawn(const std::vector<StatusMenuEntry>& entries) {
    platform::Menu menu;
    for (const StatusMenuEntry& entry : entries) {
        if (entry.isSeparator()) {
            menu.emplace_back().separator = true;
        } else if (!entry.action) {
            menu.push_back(tessel::AppPresence::infoItem(entry.title));
        } else {
            menu.push_back(tessel::AppPresence::menuItem(
                entry.title, [weak = weak_from_this(), action = *entry.action] {
                    if (const auto self = weak.lock()) {
                        self->perform(action);
                    }
                }));
            menu.back().enabled = entry.enabled;
            menu.back().checkable = entry.checkable;
            menu.back().checked = entry.checked;
        }
    }
    return menu;
}

void AppDelegate::showStatus() {
    if (!presence_) {
        return;
    }
    const StatusMenuContents contents = menuContents();
    presence_->setStatusToolTip(statusToolTip(contents, facilities_.numbers));
    if (presence_->statusMenuIsKept()) {
        presence_->statusMenuChanged(drawn(statusMenu(contents, facilities_.numbers)));
    }
}

void AppDelegate::serverStateChanged(const ServerSupervisor::State& state) {
    const bool running = std::holds_alternative<ServerSupervisor::Running>(state);
    mainWindow_.setServerAnswers(running);
    if (running) {
        if (const auto url = serverURL()) {
            mainWindow_.currentURL = *url;
            if (mainWindow_.hasWindow()) {
                mainWindow_.load(*url);
            }
        }
        refreshAccountStatus();
        library_->refresh(/*force=*/true);
    } else {
        accountStatus_.reset();
        library_->clear();
    }
    showStatus();
}

void AppDelegate::refreshAccountStatus() {
    const auto url = serverURL();
    if (!url) {
        return;
    }
    ostra::AccountLink::fetchStatus(
        *url, facilities_.supervisor.http,
        [weak = weak_from_this(), &mainQueue = facilities_.supervisor.mainQueue](
            std::optional<ostra::AccountStatus> status) {
            mainQueue.post([weak, status = std::move(status)] {
                if (const auto self = weak.lock()) {
                    self->accountStatus_ = status;
                    self->showStatus();
                }
            });
        });
}

void AppDelegate::perform(StatusMenuAction action) {
    switch (action) {
    case StatusMenuAction::openOstraWindow:
        return openOstraWindow();
    case StatusMenuAction::openWebApp:
        return openWebApp();
    case StatusMenuAction::copyServerURL:
        return copyServerURL();
    case StatusMenuAction::restartServer:
        return restartServer();
    case StatusMenuAction::linkServer:
        return linkServer();
    case StatusMenuAction::reopenApproval:
        return reopenApproval();
    case StatusMenuAction::copyLinkCode:
        return copyLinkCode();
    case StatusMenuAction::openAccountPage:
        return openAccountPage();
    case StatusMenuAction::toggleLoginItem:
        return toggleLoginItem();
    case StatusMenuAction::checkForUpdates:
        return checkForUpdates();
    case StatusMenuAction::quitApp:
        return quitApp();
    }
}

void AppDelegate::openOstraWindow() {
    mainWindow_.show();
}

void AppDelegate::openWebApp() {
    if (const auto url = serverURL()) {
        facilities_.workspace.openUrl(std::string(url->buffer()));
    }
}

void AppDelegate::copyServerURL() {
    if (const auto url = serverURL()) {
        facilities_.pasteboard.setText(url->buffer());
    }
}

void AppDelegate::restartServer() {
    supervisor_->restart();
}

void AppDelegate::linkServer() {
    const auto url = serverURL();
    if (!url) {
        return;
    }
    ostra::AccountLink::startLink(
        *url, facilities_.supervisor.http,
        [weak = weak_from_this(), &mainQueue = facilities_.supervisor.mainQueue,
         &workspace = facilities_.workspace](std::optional<ostra::LinkStart> start) {
            if (!start) {
                return;
            }
            mainQueue.post([weak, &workspace, start = std::move(*start)] {
                workspace.openUrl(std::string(start.verifyURL.buffer()));
                if (const auto self = weak.lock()) {
                    self->linkStarted(start);
                }
            });
        });
}

void AppDelegate::linkStarted(const ostra::LinkStart& start) {
    ostra::AccountStatus pending;
    pending.linked = false;
    pending.pending = true;
    pending.code = start.code;
    pending.verifyURL = start.verifyURL;
    if (accountStatus_) {
        pending.origin = accountStatus_->origin;
    }
    accountStatus_ = std::move(pending);
    showStatus();
    refreshAccountStatus();
}

void AppDelegate::reopenApproval() {
    if (accountStatus_ && accountStatus_->verifyURL) {
        facilities_.workspace.openUrl(std::string(accountStatus_->verifyURL->buffer()));
    }
}

void AppDelegate::copyLinkCode() {
    if (accountStatus_ && accountStatus_->code) {
        facilities_.pasteboard.setText(*accountStatus_->code);
    }
}

void AppDelegate::openAccountPage() {
    if (const auto page = ostra::AccountLink::accountPageURL(accountStatus_)) {
        facilities_.workspace.openUrl(std::string(page->buffer()));
    }
}

void AppDelegate::toggleLoginItem() {
    const auto toggled = tessel::LoginItem::toggle(
        facilities_.loginService, facilities_.supervisor.defaults, loginItemAppliedKey);
    if (!toggled) {
        facilities_.supervisor.log.write(
            fmt::format("login item toggle failed: {}", toggled.error()));
    }
    showStatus();
}

void AppDelegate::checkForUpdates() {
    if (updater_) {
        updater_->checkForUpdates();
    }
}

void AppDelegate::quitApp() {
    allowFullQuit_ = true;
    facilities_.application.terminate();
}

} // namespace zorvane
