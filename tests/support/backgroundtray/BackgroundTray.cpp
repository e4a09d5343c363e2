#include "tests/support/backgroundtray/BackgroundTray.h"

#include "tests/support/traymenu/WatcherInterface.h"

#include <future>
#include <stdexcept>
#include <utility>

namespace test_support {
namespace {

using platform::gtk::GErrorPtr;

constexpr const char* watcherName = "org.kde.StatusNotifierWatcher";
constexpr const char* watcherPath = "/StatusNotifierWatcher";
constexpr const char* menuPath = "/MenuBar";
constexpr const char* menuInterface = "com.canonical.dbusmenu";
constexpr int patienceMs = 25'000;

} // namespace

BackgroundTray::BackgroundTray(const std::string& busAddress)
    : context_(g_main_context_new())
    , loop_(g_main_loop_new(context_, FALSE)) {
    GError* error = nullptr;
    connection_.reset(g_dbus_connection_new_for_address_sync(
        busAddress.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    if (!connection_) {
        const GErrorPtr owned(error);
        throw std::runtime_error(error->message);
    }
    thread_ = std::thread([this] {
        g_main_context_push_thread_default(context_);
        g_main_loop_run(loop_);
        g_main_context_pop_thread_default(context_);
    });
    onOwnThread([this] {
        static constexpr GDBusInterfaceVTable calls{
            .method_call = onCall, .get_property = onGet, .set_property = nullptr, .padding = {}};
        object_ = g_dbus_connection_register_object(connection_.get(), watcherPath,
                                                    traymenu::watcherInterface(), &calls, this,
                                                    nullptr, nullptr);
    });
    constexpr guint32 allowReplacementAndReplace = 3;
    try {
        (void)call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                   "RequestName", g_variant_new("(su)", watcherName, allowReplacementAndReplace));
    } catch (...) {
        finish();
        throw;
    }
}

BackgroundTray::~BackgroundTray() {
    finish();
}

void BackgroundTray::finish() {
    g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
    onOwnThread([this] {
        g_dbus_connection_unregister_object(connection_.get(), object_);
        g_main_loop_quit(loop_);
    });
    thread_.join();
    while (g_main_context_iteration(context_, FALSE) != FALSE) {
    }
    connection_.reset();
    g_main_loop_unref(loop_);
    g_main_context_unref(context_);
}

void BackgroundTray::onOwnThread(const std::function<void()>& task) {
    struct Call {
        const std::function<void()>& task;
        std::promise<void> done = {};
    } call{task};
    GSource* const source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer data) -> gboolean {
            auto* const pending = static_cast<Call*>(data);
            pending->task();
            pending->done.set_value();
            return G_SOURCE_REMOVE;
        },
        &call, nullptr);
    g_source_attach(source, context_);
    g_source_unref(source);
    call.done.get_future().wait();
}

void BackgroundTray::onCall(GDBusConnection* /*connection*/, const char* sender,
                            const char* /*path*/, const char* /*interface*/, const char* /*method*/,
                            GVariant* parameters, GDBusMethodInvocation* invocation,
                            gpointer self) {
    const char* service = nullptr;
    g_variant_get(parameters, "(&s)", &service);
    auto* const host = static_cast<BackgroundTray*>(self);
    {
        const std::lock_guard lock(host->mutex_);
        // A bus name, or the path of an object of the caller's.
        host->registered_.emplace_back(*service == '/' ? sender : service);
    }
    g_dbus_method_invocation_return_value(invocation, nullptr);
}

GVariant* BackgroundTray::onGet(GDBusConnection* /*connection*/, const char* /*sender*/,
                                const char* /*path*/, const char* /*interface*/,
                                const char* /*property*/, GError** /*error*/, gpointer self) {
    static_cast<BackgroundTray*>(self)->hostWasAskedFor_ = true;
    return g_variant_new_boolean(TRUE);
}

std::vector<std::string> BackgroundTray::registered() const {
    const std::lock_guard lock(mutex_);
    return registered_;
}

BackgroundTray::Variant BackgroundTray::call(const char* name, const char* path,
                                             const char* interface, const char* method,
                                             GVariant* parameters) const {
    GError* error = nullptr;
    Variant answer(g_dbus_connection_call_sync(connection_.get(), name, path, interface, method,
                                               parameters, nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START,
                                               patienceMs, nullptr, &error),
                   &g_variant_unref);
    if (!answer) {
        const GErrorPtr owned(error);
        throw std::runtime_error(std::string(method) + ": " + error->message);
    }
    return answer;
}

BackgroundTray::Variant BackgroundTray::open(const std::string& item) const {
    (void)call(item.c_str(), menuPath, menuInterface, "AboutToShow", g_variant_new("(i)", 0));
    const char* const everyProperty[] = {nullptr};
    return call(item.c_str(), menuPath, menuInterface, "GetLayout",
                g_variant_new("(ii^as)", 0, -1, everyProperty));
}

bool BackgroundTray::canOpenMenu(const std::string& item) const {
    try {
        (void)call(item.c_str(), menuPath, menuInterface, "AboutToShow", g_variant_new("(i)", 0));
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

traymenu::Layout BackgroundTray::openMenu(const std::string& item) {
    return traymenu::readLayout(open(item).get());
}

std::size_t BackgroundTray::openMenuUnread(const std::string& item) {
    const Variant answer = open(item);
    GVariant* children = nullptr;
    g_variant_get(answer.get(), "(u(i@a{sv}@av))", nullptr, nullptr, nullptr, &children);
    return g_variant_n_children(Variant(children, &g_variant_unref).get());
}

} // namespace test_support
