// What a notification service on the session bus is told, and what its signals come to.
#include "platform/linux/notifications/DesktopNotifications.h"

#include "platform/linux/GObjectPtr.h"
#include "platform/testing/InMemorySystem.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <optional>

namespace platform::desktop {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* service = "org.freedesktop.Notifications";
constexpr const char* path = "/org/freedesktop/Notifications";
constexpr const char* introspection = R"(<node><interface name="org.freedesktop.Notifications">
  <method name="Notify">
    <arg type="s" direction="in"/><arg type="u" direction="in"/><arg type="s" direction="in"/>
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="as" direction="in"/>
    <arg type="a{sv}" direction="in"/><arg type="i" direction="in"/><arg type="u" direction="out"/>
  </method>
  <method name="CloseNotification"><arg type="u" direction="in"/></method>
</interface></node>)";

bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    const guint tick =
        g_timeout_add(20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    bool holds = condition();
    while (!holds && std::chrono::steady_clock::now() < deadline) {
        g_main_context_iteration(nullptr, TRUE);
        holds = condition();
    }
    g_source_remove(tick);
    return holds;
}

// A session bus of the test's own, and on it, once it has appeared, what shows notifications.
class Notifications : public ::testing::Test {
  protected:
    struct Notified {
        std::string application, icon, title, text, desktopEntry;
        std::vector<std::string> actions;
        unsigned urgency = 0;
    };

    Notifications() {
        g_test_dbus_up(bus_.get());
        GError* error = nullptr;
        connection_.reset(g_dbus_connection_new_for_address_sync(
            g_test_dbus_get_bus_address(bus_.get()),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &error));
        EXPECT_TRUE(connection_) << error->message;
    }
    ~Notifications() override {
        notifications.reset();
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
        g_test_dbus_down(bus_.get());
    }

    void appear() {
        static GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(introspection, nullptr);
        static constexpr GDBusInterfaceVTable calls{
            .method_call = onCall, .get_property = nullptr, .set_property = nullptr, .padding = {}};
        g_dbus_connection_register_object(connection_.get(), path, node->interfaces[0], &calls,
                                          this, nullptr, nullptr);
        callBus("RequestName", g_variant_new("(su)", service, 0U));
    }
    // Another one takes its place, with numbers of its own.
    void beReplaced() {
        callBus("ReleaseName", g_variant_new("(s)", service));
        callBus("RequestName", g_variant_new("(su)", service, 0U));
    }
    void callBus(const char* method, GVariant* parameters) {
        const std::unique_ptr<GVariant, decltype(&g_variant_unref)> reply(
            g_dbus_connection_call_sync(connection_.get(), "org.freedesktop.DBus", "/",
                                        "org.freedesktop.DBus", method, parameters, nullptr,
                                        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr),
            &g_variant_unref);
        ASSERT_TRUE(reply);
    }
    void emit(const char* signal, guint32 id, const char* text) {
        g_dbus_connection_emit_signal(connection_.get(), nullptr, path, service, signal,
                                      g_variant_new("(us)", id, text), nullptr);
    }
    void emitClosed(guint32 id) {
        g_dbus_connection_emit_signal(connection_.get(), nullptr, path, service,
                                      "NotificationClosed", g_variant_new("(uu)", id, 2U), nullptr);
    }
    void show(const std::string& title = "Example 2.0 is available", bool isCritical = false) {
        notifications->show({.title = title,
                             .text = "You have version 1.0.",
                             .action = "Show Update…",
                             .isCritical = isCritical},
                            [this, title] { opened.push_back(title); });
    }
    bool isShown(std::size_t count = 1) {
        return eventually([&] { return shown.size() == count; });
    }
    // Both ends have seen what was sent before.
    void settle() {
        g_dbus_connection_call(connection_.get(), service, path, service, "CloseNotification",
                               g_variant_new("(u)", marker), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
                               nullptr, nullptr, nullptr);
        ASSERT_TRUE(eventually([&] { return std::ranges::count(closed, marker) == 1; }));
        // A round trip of its own on the other connection, after which its signals have come.
        const gtk::GObjectPtr<GDBusConnection> shared(
            g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
        bool answered = false;
        g_dbus_connection_call(
            shared.get(), service, path, service, "CloseNotification", g_variant_new("(u)", marker),
            nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
            [](GObject* source, GAsyncResult* result, gpointer data) {
                if (GVariant* const reply =
                        g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr)) {
                    g_variant_unref(reply);
                }
                *static_cast<bool*>(data) = true;
            },
            &answered);
        EXPECT_TRUE(eventually([&] { return answered; }));
        std::erase(closed, marker);
    }

    static constexpr guint32 marker = 4711;

    platform::testing::RecordingLog log;
    std::vector<std::string> tokens;
    std::optional<DesktopNotifications> notifications{
        std::in_place, "Example", "test.example",
        [this](const std::string& token) { tokens.push_back(token); }, log};
    std::vector<Notified> shown;
    std::vector<guint32> closed;
    std::vector<std::string> opened;

  private:
    static void onCall(GDBusConnection* /*connection*/, const char* /*sender*/,
                       const char* /*path*/, const char* /*interface*/, const char* method,
                       GVariant* parameters, GDBusMethodInvocation* invocation, gpointer self) {
        auto& test = *static_cast<Notifications*>(self);
        if (method == std::string_view("CloseNotification")) {
            guint32 id = 0;
            g_variant_get(parameters, "(u)", &id);
            test.closed.push_back(id);
            g_dbus_method_invocation_return_value(invocation, nullptr);
            return;
        }
        const char *application, *icon, *title, *text;
        GVariant *actions, *hints;
        g_variant_get(parameters, "(&su&s&s&s@as@a{sv}i)", &application, nullptr, &icon, &title,
                      &text, &actions, &hints, nullptr);
        Notified notified{.application = application,
                          .icon = icon,
                          .title = title,
                          .text = text,
                          .desktopEntry = {},
                          .actions = {}};
        for (gsize i = 0; i < g_variant_n_children(actions); ++i) {
            const char* word = nullptr;
            g_variant_get_child(actions, i, "&s", &word);
            notified.actions.emplace_back(word);
        }
        const char* entry = "";
        guchar urgency = 9;
        g_variant_lookup(hints, "desktop-entry", "&s", &entry);
        g_variant_lookup(hints, "urgency", "y", &urgency);
        notified.desktopEntry = entry;
        notified.urgency = urgency;
        g_variant_unref(actions);
        g_variant_unref(hints);
        test.shown.push_back(notified);
        g_dbus_method_invocation_return_value(
            invocation, g_variant_new("(u)", static_cast<guint32>(test.shown.size())));
    }

    gtk::GObjectPtr<GTestDBus> bus_{g_test_dbus_new(G_TEST_DBUS_NONE)};
    gtk::GObjectPtr<GDBusConnection> connection_;
};

TEST_F(Notifications, sayWhatTheyAreAboutAndWhatCanBeDone) {
    appear();
    show();
    ASSERT_TRUE(isShown());
    const auto& notified = shown.front();
    EXPECT_EQ(notified.application, "Example");
    EXPECT_EQ(notified.icon, "test.example");
    EXPECT_EQ(notified.desktopEntry, "test.example");
    EXPECT_EQ(notified.title, "Example 2.0 is available");
    EXPECT_EQ(notified.text, "You have version 1.0.");
    EXPECT_THAT(notified.actions, ElementsAre("default", "Show Update…", "open", "Show Update…"));
    EXPECT_EQ(notified.urgency, 1U);
}

TEST_F(Notifications, areUrgentWhenTheyAreCritical) {
    appear();
    show("Example 2.0 is available", true);
    ASSERT_TRUE(isShown());
    EXPECT_EQ(shown.front().urgency, 2U);
}

TEST_F(Notifications, leadToWhatTheyAreAboutOnceWithTheDesktopsToken) {
    appear();
    show();
    ASSERT_TRUE(isShown());
    settle();
    emit("ActivationToken", 1, "token-1");
    emit("ActionInvoked", 1, "default");
    emit("ActionInvoked", 1, "open");
    settle();
    EXPECT_THAT(opened, ElementsAre("Example 2.0 is available"));
    EXPECT_THAT(tokens, ElementsAre("token-1"));
}

TEST_F(Notifications, areOpenedByTheirButtonToo) {
    appear();
    show();
    ASSERT_TRUE(isShown());
    settle();
    emit("ActionInvoked", 1, "open");
    settle();
    EXPECT_THAT(opened, ElementsAre("Example 2.0 is available"));
    EXPECT_THAT(tokens, ElementsAre(""));
}

TEST_F(Notifications, takeNothingForThemselvesThatIsAboutAnother) {
    appear();
    show();
    ASSERT_TRUE(isShown());
    settle();
    emit("ActionInvoked", 2, "default");
    emit("ActionInvoked", 1, "snooze");
    const gtk::GObjectPtr<GDBusConnection> stranger(
        g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    g_dbus_connection_emit_signal(stranger.get(), nullptr, path, service, "ActionInvoked",
                                  g_variant_new("(us)", 1U, "default"), nullptr);
    settle();
    EXPECT_THAT(opened, IsEmpty());
}

// GLib makes another one only then.
TEST_F(Notifications, giveTheConnectionBackWhenItsBusHasEnded) {
    appear();
    show();
    ASSERT_TRUE(isShown());
    settle();
    gpointer shared = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    ASSERT_NE(shared, nullptr);
    g_object_add_weak_pointer(G_OBJECT(shared), &shared);
    g_dbus_connection_close_sync(G_DBUS_CONNECTION(shared), nullptr, nullptr);
    g_object_unref(shared);
    EXPECT_TRUE(eventually([&] { return shared == nullptr; }));
    notifications->withdraw();
}

TEST_F(Notifications, areForgottenOnceTheUserClosesThem) {
    appear();
    show();
    ASSERT_TRUE(isShown());
    settle();
    emitClosed(1);
    emit("ActionInvoked", 1, "default");
    settle();
    EXPECT_THAT(opened, IsEmpty());
    notifications->withdraw();
    settle();
    EXPECT_THAT(closed, IsEmpty()) << "there is nothing left to close";
}

TEST_F(Notifications, areForgottenTogetherWithWhoeverShowedThem) {
    appear();
    show();
    ASSERT_TRUE(isShown());
    settle();
    beReplaced();
    settle();
    emit("ActionInvoked", 1, "default");
    settle();
    EXPECT_THAT(opened, IsEmpty()) << "that was another application's";
    notifications->withdraw();
    settle();
    EXPECT_THAT(closed, IsEmpty()) << "so is what has its number now";
}

TEST_F(Notifications, areOneAtATime) {
    appear();
    show("first");
    ASSERT_TRUE(isShown());
    settle();
    show("second");
    ASSERT_TRUE(isShown(2));
    settle();
    EXPECT_THAT(closed, ElementsAre(1U));
    emit("ActionInvoked", 1, "default");
    emit("ActionInvoked", 2, "default");
    settle();
    EXPECT_THAT(opened, ElementsAre("second"));
}

TEST_F(Notifications, areWithdrawnEvenBeforeTheyAreThere) {
    appear();
    show();
    notifications->withdraw();
    settle();
    EXPECT_THAT(shown, IsEmpty());
    show("asked for, but not answered yet");
    ASSERT_TRUE(isShown());
    notifications->withdraw();
    settle();
    EXPECT_TRUE(eventually([&] { return !closed.empty(); }));
    EXPECT_THAT(closed, ElementsAre(1U));
    show("later");
    const auto before = shown.size();
    ASSERT_TRUE(isShown(before + 1));
    notifications.reset();
    ASSERT_TRUE(eventually([&] { return closed.size() == before + 1; }));
    EXPECT_THAT(opened, IsEmpty());
}

TEST_F(Notifications, areOneLineInTheLogWhereNobodyShowsThem) {
    show();
    EXPECT_TRUE(eventually([&] { return !log.lines.empty(); }));
    EXPECT_THAT(log.lines, ElementsAre(HasSubstr("no notification could be shown: ")));
}

} // namespace
} // namespace platform::desktop
