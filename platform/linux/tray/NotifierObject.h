// One item of the StatusNotifierItem protocol (org.kde.StatusNotifierItem, as freedesktop.org
// describes it and hosts understand it) at a path of a D-Bus connection: every property and method
// of the interface, and the signals that say what has changed. The item is a menu (ItemIsMenu), so
// a host opens the menu itself, on a left click too. Hosts which do not read ItemIsMenu call
// Activate: whoever made the item is told. ContextMenu answers with an error because that makes
// hosts which do not open the menu themselves do so. Middle clicks and the wheel do nothing.
// Pixmaps are drawn when the first host asks. Main thread only.
#pragma once

#include "platform/linux/GObjectPtr.h"
#include "platform/linux/tray/IconPixmap.h"

#include <gio/gio.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform::tray {

struct NotifierContent {
    std::string id = {};    // of the application, never shown
    std::string title = {}; // names the item for assistive technology and settings
    std::string iconName = {};
    std::string iconThemePath = {};
    std::filesystem::path iconFile = {}; // for hosts that do not find the name; else
    std::string iconText = {};           // this text is the icon
    std::string label = {};           // a text beside the icon (an extension that some hosts have)
    std::string toolTipTitle = {};    // plain text
    std::string toolTipSubtitle = {}; // plain text, lines separated by line feeds

    bool operator==(const NotifierContent&) const = default;
};

class NotifierObject {
  public:
    // Throws std::runtime_error when the path is taken on that connection.
    NotifierObject(GDBusConnection* connection, const char* objectPath, const char* menuPath,
                   NotifierContent content);
    ~NotifierObject();
    NotifierObject(const NotifierObject&) = delete;
    NotifierObject& operator=(const NotifierObject&) = delete;

    void show(NotifierContent content);

    // A host calls Activate. False, as without a receiver: the host is told that the item cannot do
    // that.
    std::function<bool()> onActivate;
    // A host hands over the desktop's permission to take the focus, before whatever the user
    // chooses.
    std::function<void(std::string token)> onActivationToken;

  private:
    static void onCall(GDBusConnection* connection, const char* sender, const char* path,
                       const char* interface, const char* method, GVariant* parameters,
                       GDBusMethodInvocation* invocation, gpointer self);
    static GVariant* onGet(GDBusConnection* connection, const char* sender, const char* path,
                           const char* interface, const char* property, GError** error,
                           gpointer self);

    [[nodiscard]] GVariant* property(std::string_view name);
    [[nodiscard]] const std::vector<IconPixmap>& pixmaps();
    void announce(const char* signal, GVariant* parameters = nullptr) const;

    gtk::GObjectPtr<GDBusConnection> connection_;
    std::string objectPath_;
    std::string menuPath_;
    NotifierContent content_;
    std::optional<std::vector<IconPixmap>> pixmaps_;
    guint registration_ = 0;
};

} // namespace platform::tray
