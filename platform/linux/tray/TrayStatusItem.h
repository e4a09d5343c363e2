// A status item in the tray of a Linux desktop: a StatusNotifierItem named
// org.kde.StatusNotifierItem-PID-N with its menu over com.canonical.dbusmenu, both on GLib's shared
// connection to the session bus. It is offered to every tray that comes, and again on the bus that
// follows one that has ended; while there is no tray, or no bus, whoever observes the item shows
// the menu in another place. A process has at most one item at a time (making a second one throws
// std::logic_error), because hosts look for it at one fixed path. Main thread only, which iterates
// GLib's default main context.
#pragma once

#include "platform/Log.h"
#include "platform/StatusItem.h"
#include "platform/linux/bus/BusFollower.h"
#include "platform/linux/tray/ExportedMenu.h"
#include "platform/linux/tray/NotifierObject.h"
#include "platform/linux/tray/TrayRegistration.h"

#include <filesystem>
#include <optional>
#include <string>

namespace platform::tray {

class TrayStatusItem;

class StatusItemObserver {
  public:
    virtual ~StatusItemObserver() = default;

    // Its looks, its menu or its place have changed. Not called before the place is known.
    virtual void statusItemChanged(TrayStatusItem& item) = 0;
    virtual void statusItemGone(TrayStatusItem& item) = 0;
    // The desktop's permission to take the focus, for what the user is about to choose.
    virtual void activationTokenGiven(std::string token) = 0;
};

class TrayStatusItem final : public StatusItem {
  public:
    // Where the item can be seen.
    enum class Place { unknown, tray, nowhere };

    struct Looks {
        std::string title = {};
        std::optional<std::string> symbol = {};
        std::string description = {};
        std::optional<std::string> toolTip = {};
    };

    // `symbolFolder` is searched for symbols (SymbolFile.h); the observer may be absent.
    TrayStatusItem(std::string applicationId, std::filesystem::path symbolFolder,
                   StatusItemObserver* observer, Log& log);
    ~TrayStatusItem() override;
    TrayStatusItem(const TrayStatusItem&) = delete;
    TrayStatusItem& operator=(const TrayStatusItem&) = delete;

    [[nodiscard]] bool setSymbol(std::string_view name,
                                 std::string_view accessibilityDescription) override;
    void clearImage() override;
    void setTitle(std::string_view title) override;
    void setToolTip(std::optional<std::string_view> toolTip) override;
    [[nodiscard]] bool keepsMenu() const override { return true; }
    void menuChanged(const Menu& menu) override;

    [[nodiscard]] Place place() const { return place_; }
    [[nodiscard]] const Looks& looks() const { return looks_; }
    // What an opening would show, as far as is known.
    [[nodiscard]] const Menu& latestMenu() const { return latest_; }

  private:
    static void onMenuAnswered(GObject* source, GAsyncResult* result, gpointer self);

    void joinBus(GDBusConnection* connection);
    void leaveBus();
    void metNewHost();
    void askForMenu(GDBusConnection* connection);
    void registerOn(GDBusConnection* connection);
    void changed();
    void placeKnown(Place place);
    [[nodiscard]] NotifierContent content() const;

    std::string applicationId_;
    std::filesystem::path symbolFolder_;
    StatusItemObserver* observer_;
    Log& log_;
    gtk::GObjectPtr<GCancellable> joining_;
    Place place_ = Place::unknown;
    Looks looks_;
    std::filesystem::path symbolFile_;
    ExportedMenu menu_;
    Menu latest_;
    // Whether the present host says before it opens the menu (AboutToShow). Most do; one that does
    // not has to be given new rows at once.
    bool hostAsks_ = false;
    std::optional<NotifierObject> object_;
    std::optional<TrayRegistration> registration_;
    std::optional<desktop::BusFollower> bus_;
};

} // namespace platform::tray
