#include "tests/desktop/session/NotificationArea.h"

#include <string_view>

namespace desktop {
namespace {

constexpr const char* name = "org.freedesktop.Notifications";

} // namespace

NotificationArea::NotificationArea(const PrivateSession& session)
    : service_(session, name, name, [this](GDBusMessage* call) { return answerTo(call); }) {}

std::vector<NotificationArea::Notification> NotificationArea::shown() const {
    const std::lock_guard lock(mutex_);
    return shown_;
}

GDBusMessage* NotificationArea::answerTo(GDBusMessage* call) {
    GDBusMessage* const answer = g_dbus_message_new_method_reply(call);
    GVariant* const body = g_dbus_message_get_body(call);
    if (std::string_view(g_dbus_message_get_member(call)) == "Notify" && body != nullptr &&
        g_variant_is_of_type(body, G_VARIANT_TYPE("(susssasa{sv}i)")) != FALSE) {
        const char* title = nullptr;
        const char* text = nullptr;
        g_variant_get(body, "(&su&s&s&sasa{sv}i)", nullptr, nullptr, nullptr, &title, &text,
                      nullptr, nullptr, nullptr);
        const std::lock_guard lock(mutex_);
        shown_.push_back({.title = title, .text = text});
        g_dbus_message_set_body(answer, g_variant_new("(u)", static_cast<guint32>(shown_.size())));
    }
    return answer;
}

} // namespace desktop
