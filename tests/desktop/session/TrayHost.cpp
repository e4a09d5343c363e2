#include "tests/desktop/session/TrayHost.h"

#include "tests/desktop/session/Waiting.h"

#include <algorithm>
#include <stdexcept>

namespace desktop {
namespace {

constexpr const char* itemInterface = "org.kde.StatusNotifierItem";

} // namespace

TrayHost::TrayHost(const PrivateSession& session)
    : tray_(session.environment.at("DBUS_SESSION_BUS_ADDRESS")) {}

bool TrayHost::hasItem() {
    return eventually([this] {
        const std::vector<std::string> registered = tray_.registered();
        item_ = registered.empty() ? "" : registered.back();
        return !item_.empty() && tray_.hostWasAskedFor() && tray_.canOpenMenu(item_);
    });
}

TrayHost::Variant TrayHost::property(const char* name) const {
    const Variant reply =
        tray_.call(item_.c_str(), "/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get",
                   g_variant_new("(ss)", itemInterface, name));
    GVariant* value = nullptr;
    g_variant_get(reply.get(), "(v)", &value);
    return {value, &g_variant_unref};
}

std::string TrayHost::text(const char* name) const {
    return g_variant_get_string(property(name).get(), nullptr);
}

std::string TrayHost::toolTip() const {
    const char* title = nullptr;
    const char* description = nullptr;
    const Variant value = property("ToolTip");
    g_variant_get(value.get(), "(&sa(iiay)&s&s)", nullptr, nullptr, &title, &description);
    return *description == '\0' ? title : std::string(title) + "\n" + description;
}

TrayHost::Variant TrayHost::menu(const char* method, GVariant* parameters) const {
    return tray_.call(item_.c_str(), text("Menu").c_str(), "com.canonical.dbusmenu", method,
                      parameters);
}

void TrayHost::activate() const {
    (void)tray_.call(item_.c_str(), "/StatusNotifierItem", itemInterface, "Activate",
                     g_variant_new("(ii)", 0, 0));
}

void TrayHost::giveActivationToken(const char* token) const {
    (void)tray_.call(item_.c_str(), "/StatusNotifierItem", itemInterface,
                     "ProvideXdgActivationToken", g_variant_new("(s)", token));
}

std::vector<std::string> TrayHost::openMenu() {
    layout_ = tray_.openMenu(item_);
    return layout_.items;
}

void TrayHost::click(const std::string& item) {
    const auto found = std::ranges::find(layout_.items, item);
    if (found == layout_.items.end()) {
        throw std::runtime_error("the menu has no item " + item);
    }
    const int id = layout_.ids.at(static_cast<std::size_t>(found - layout_.items.begin()));
    (void)menu("Event", g_variant_new("(isvu)", id, "clicked", g_variant_new_int32(0), guint32{0}));
}

} // namespace desktop
