#include "tests/desktop/session/SettingsPortal.h"

#include <string_view>

namespace desktop {
namespace {

constexpr const char* name = "org.freedesktop.portal.Desktop";
constexpr const char* path = "/org/freedesktop/portal/desktop";
constexpr const char* interface = "org.freedesktop.portal.Settings";
constexpr const char* group = "org.freedesktop.appearance";
constexpr const char* key = "color-scheme";

GVariant* valueOf(ColourPreference preference) {
    return g_variant_new_uint32(static_cast<std::uint32_t>(preference));
}

// "Read" wraps the value twice, which is how it has always been; whoever reads copes with that.
GDBusMessage* answerTo(GDBusMessage* question, ColourPreference preference) {
    const char* askedGroup = nullptr;
    const char* askedKey = nullptr;
    GVariant* const body = g_dbus_message_get_body(question);
    if (body != nullptr && g_variant_is_of_type(body, G_VARIANT_TYPE("(ss)")) != FALSE) {
        g_variant_get(body, "(&s&s)", &askedGroup, &askedKey);
    }
    if (std::string_view(g_dbus_message_get_member(question)) != "Read" || askedGroup == nullptr ||
        std::string_view(askedGroup) != group || std::string_view(askedKey) != key) {
        return g_dbus_message_new_method_error_literal(
            question, "org.freedesktop.portal.Error.NotFound", "there is no such setting");
    }
    GDBusMessage* const answer = g_dbus_message_new_method_reply(question);
    g_dbus_message_set_body(answer,
                            g_variant_new("(v)", g_variant_new_variant(valueOf(preference))));
    return answer;
}

} // namespace

SettingsPortal::SettingsPortal(const PrivateSession& session, ColourPreference preference)
    : preference_(preference)
    , service_(session, name, interface,
               [this](GDBusMessage* question) { return answerTo(question, preference_); }) {}

void SettingsPortal::set(ColourPreference preference) {
    preference_ = preference;
    service_.emit(path, "SettingChanged", g_variant_new("(ssv)", group, key, valueOf(preference)));
}

} // namespace desktop
