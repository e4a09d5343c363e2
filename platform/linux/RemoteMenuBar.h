// The main menu and the status bar of a desktop without either: both live in the tray and in the
// header bars of the windows that the window program shows. Main thread only.
#pragma once

#include "platform/Bundle.h"
#include "platform/Log.h"
#include "platform/StatusItem.h"
#include "platform/linux/ActivationTokens.h"
#include "platform/linux/WindowHost.h"
#include "platform/linux/connection/MenuEntries.h"
#include "platform/linux/tray/TrayStatusItem.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace platform::desktop {

class RemoteMenuBar final : public MenuBar,
                            public StatusBar,
                            private tray::StatusItemObserver,
                            private WindowClient {
  public:
    // What the user chose by menu or by key and is the application's to do.
    struct Commands {
        std::function<void()> terminate;
        std::function<void()> hide;
    };

    RemoteMenuBar(std::string applicationId, WindowHost& host, ActivationTokens& tokens,
                  const Bundle& bundle, Log& log, Commands commands);

    void setMainMenu(const Menu& menu) override;
    [[nodiscard]] std::unique_ptr<StatusItem> makeStatusItem() override;

  private:
    // A menu as it was said to the window program.
    struct Said {
        std::uint64_t edition = 0;
        Menu menu;
    };

    void statusItemChanged(tray::TrayStatusItem& item) override;
    void statusItemGone(tray::TrayStatusItem& item) override;
    void activationTokenGiven(std::string token) override { tokens_.give(std::move(token)); }

    void sayAgain() override;
    void tellMainMenu();
    void tellStatusItem();
    void tellStatusMenu();
    void commandChosen(std::int32_t command);
    void itemChosen(std::uint64_t edition, std::uint32_t item);
    void openStatusMenu(connection::Reply reply);

    std::string applicationId_;
    WindowHost& host_;
    ActivationTokens& tokens_;
    const Bundle& bundle_;
    Log& log_;
    Commands commands_;
    std::optional<Said> mainMenu_;
    Said statusMenu_;
    tray::TrayStatusItem* homeless_ = nullptr; // the status item while no tray shows it
};

} // namespace platform::desktop
