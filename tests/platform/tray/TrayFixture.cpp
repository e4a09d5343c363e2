#include "tests/platform/tray/TrayFixture.h"

#include "tests/support/traymenu/WatcherInterface.h"

#include <fmt/format.h>

#include <cstdlib>
#include <stdexcept>

namespace platform::tray {
namespace {

constexpr const char* watcherName = "org.kde.StatusNotifierWatcher";
constexpr const char* menuInterface = "com.canonical.dbusmenu";
constexpr const char* itemInterface = "org.kde.StatusNotifierItem";

// Ends with the process; should the process die, GLib's own watcher ends it.
class PrivateBus {
  public:
    PrivateBus()
        : bus_(g_test_dbus_new(G_TEST_DBUS_NONE)) {
        g_test_dbus_up(bus_.get());
        // Otherwise the end of the bus, after the last test, would end the process by a signal.
        const gtk::GObjectPtr<GDBusConnection> shared(
            g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
        g_dbus_connection_set_exit_on_close(shared.get(), FALSE);
        shared_ = static_cast<GDBusConnection*>(g_object_ref(shared.get()));
    }
    ~PrivateBus() {
        g_object_unref(shared_);
        g_test_dbus_stop(bus_.get());
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    [[nodiscard]] std::string address() const { return g_test_dbus_get_bus_address(bus_.get()); }

  private:
    gtk::GObjectPtr<GTestDBus> bus_;
    GDBusConnection* shared_;
};

const PrivateBus& privateBus() {
    static const PrivateBus bus;
    return bus;
}

gboolean wake(gpointer /*data*/) {
    return G_SOURCE_CONTINUE;
}

struct Waiting {
    bool done = false;
    Answer answer;
};

void onAnswer(GObject* connection, GAsyncResult* result, gpointer data) {
    auto* const waiting = static_cast<Waiting*>(data);
    GError* error = nullptr;
    waiting->answer.value.reset(
        g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error));
    if (error != nullptr) {
        const gtk::GErrorPtr owned(error);
        const gtk::GMemory<char> name(g_dbus_error_get_remote_error(error));
        waiting->answer.error = name ? name.get() : error->message;
    }
    waiting->done = true;
}

Answer callAndWait(GDBusConnection* connection, const char* name, const char* path,
                   const char* interface, const char* method, GVariant* parameters) {
    Waiting waiting;
    g_dbus_connection_call(connection, name, path, interface, method, parameters, nullptr,
                           G_DBUS_CALL_FLAGS_NONE, -1, nullptr, onAnswer, &waiting);
    if (!eventually([&] { return waiting.done; }, std::chrono::seconds(60))) {
        throw std::runtime_error("no answer to " + std::string(method));
    }
    return std::move(waiting.answer);
}

} // namespace

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    const guint tick = g_timeout_add(5, wake, nullptr);
    bool held = condition();
    while (!held && std::chrono::steady_clock::now() < deadline) {
        g_main_context_iteration(nullptr, TRUE);
        held = condition();
    }
    g_source_remove(tick);
    return held;
}

void settle() {
    const auto shared =
        gtk::GObjectPtr<GDBusConnection>(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    const auto other = connectToBus();
    for (int round = 0; round < 2; ++round) {
        for (GDBusConnection* const connection : {shared.get(), other.get()}) {
            (void)callAndWait(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                              "org.freedesktop.DBus", "GetId", nullptr);
        }
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
    }
}

gtk::GObjectPtr<GDBusConnection> connectToBus() {
    GError* error = nullptr;
    gtk::GObjectPtr<GDBusConnection> connection(g_dbus_connection_new_for_address_sync(
        privateBus().address().c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    if (!connection) {
        throw std::runtime_error(error->message);
    }
    return connection;
}

Watcher::Watcher()
    : connection_(connectToBus()) {
    static constexpr GDBusInterfaceVTable calls{
        .method_call = onCall, .get_property = onGet, .set_property = nullptr, .padding = {}};
    object_ = g_dbus_connection_register_object(connection_.get(), "/StatusNotifierWatcher",
                                                traymenu::watcherInterface(), &calls, this, nullptr,
                                                nullptr);
}

Watcher::~Watcher() {
    g_dbus_connection_unregister_object(connection_.get(), object_);
    g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
}

void Watcher::callBus(const char* method, GVariant* parameters) {
    (void)callAndWait(connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                      "org.freedesktop.DBus", method, parameters);
}

void Watcher::appear() {
    constexpr guint32 allowReplacementAndReplace = 3;
    callBus("RequestName", g_variant_new("(su)", watcherName, allowReplacementAndReplace));
}

void Watcher::vanish() {
    callBus("ReleaseName", g_variant_new("(s)", watcherName));
}

void Watcher::setHost(bool present) {
    hasHost_ = present;
    g_dbus_connection_emit_signal(connection_.get(), nullptr, "/StatusNotifierWatcher", watcherName,
                                  present ? "StatusNotifierHostRegistered"
                                          : "StatusNotifierHostUnregistered",
                                  nullptr, nullptr);
}

void Watcher::onCall(GDBusConnection* /*connection*/, const char* /*sender*/, const char* /*path*/,
                     const char* /*interface*/, const char* /*method*/, GVariant* parameters,
                     GDBusMethodInvocation* invocation, gpointer self) {
    auto* const watcher = static_cast<Watcher*>(self);
    if (watcher->refuses) {
        g_dbus_method_invocation_return_dbus_error(invocation, "test.Refused", "no");
        return;
    }
    const char* service = nullptr;
    g_variant_get(parameters, "(&s)", &service);
    watcher->registered.emplace_back(service);
    g_dbus_method_invocation_return_value(invocation, nullptr);
}

GVariant* Watcher::onGet(GDBusConnection* /*connection*/, const char* /*sender*/,
                         const char* /*path*/, const char* /*interface*/, const char* /*property*/,
                         GError** /*error*/, gpointer self) {
    return g_variant_new_boolean(static_cast<Watcher*>(self)->hasHost_ ? TRUE : FALSE);
}

Host::Host(std::string item)
    : item_(std::move(item))
    , connection_(connectToBus()) {
    subscription_ = g_dbus_connection_signal_subscribe(
        connection_.get(), item_.c_str(), nullptr, nullptr, nullptr, nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this, nullptr);
    settle();
}

Host::~Host() {
    g_dbus_connection_signal_unsubscribe(connection_.get(), subscription_);
    g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
    settle(); // the subscription's last words
}

void Host::onSignal(GDBusConnection* /*connection*/, const char* /*sender*/, const char* /*path*/,
                    const char* /*interface*/, const char* signal, GVariant* /*parameters*/,
                    gpointer self) {
    static_cast<Host*>(self)->signals.emplace_back(signal);
}

Answer Host::call(const char* path, const char* interface, const char* method,
                  GVariant* parameters) {
    return callAndWait(connection_.get(), item_.c_str(), path, interface, method, parameters);
}

Answer Host::menu(const char* method, GVariant* parameters) {
    return call("/MenuBar", menuInterface, method, parameters);
}

Answer Host::item(const char* method, GVariant* parameters) {
    return call("/StatusNotifierItem", itemInterface, method, parameters);
}

Variant Host::property(const char* name) {
    const Answer answer = call("/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get",
                               g_variant_new("(ss)", itemInterface, name));
    GVariant* value = nullptr;
    if (answer.value) {
        g_variant_get(answer.value.get(), "(v)", &value);
    }
    return {value, &g_variant_unref};
}

std::string Host::text(const char* name) {
    const Variant value = property(name);
    return value ? g_variant_get_string(value.get(), nullptr) : "(none)";
}

traymenu::Layout Host::layout() {
    const char* const properties[] = {nullptr};
    const Answer answer = menu("GetLayout", g_variant_new("(ii^as)", 0, -1, properties));
    if (!answer.value) {
        throw std::runtime_error(answer.error);
    }
    return traymenu::readLayout(answer.value.get());
}

void Host::aboutToShow() {
    (void)menu("AboutToShow", g_variant_new("(i)", 0));
    settle();
}

void Host::click(int id) {
    (void)menu("Event", g_variant_new("(isvu)", id, "clicked", g_variant_new_int32(0), guint32{0}));
    settle();
}

TrayTest::TrayTest() {
    std::string name = (std::filesystem::temp_directory_path() / "tray-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot make " + name);
    }
    symbols = name;
    std::filesystem::copy_file(ZORVANE_SYMBOL, symbols / "some.symbol-symbolic.svg");
}

TrayTest::~TrayTest() {
    item.reset();
    settle();
    std::filesystem::remove_all(symbols);
}

void TrayTest::makeItem() {
    watcher.appear();
    item = std::make_unique<TrayStatusItem>("test.tray", symbols, nullptr, log);
    ASSERT_TRUE(isIn(TrayStatusItem::Place::tray));
    ASSERT_EQ(watcher.registered.size(), 1U);
}

} // namespace platform::tray

// What fontconfig knows of the machine's fonts stays with the process.
extern "C" const char* __lsan_default_suppressions(); // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\n";
}
