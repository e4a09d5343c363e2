#include "platform/linux/SessionBus.h"

#include "platform/linux/GObjectPtr.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace platform::desktop {
namespace {

constexpr const char* applicationInterface =
    "<node><interface name='org.freedesktop.Application'>"
    "<method name='Activate'><arg type='a{sv}' name='platform_data' direction='in'/></method>"
    "</interface></node>";
// The flag DBUS_NAME_FLAG_DO_NOT_QUEUE of RequestName, and what it replies.
constexpr guint32 doNotQueue = 4;
constexpr guint32 primaryOwner = 1;
constexpr guint32 alreadyOwner = 4;

using gtk::VariantPtr;

// Iterates the main context until the condition holds. False when the time was over first.
template <typename Condition>
bool await(Condition condition, std::chrono::milliseconds patience) {
    bool late = false;
    const guint timer = g_timeout_add(
        static_cast<guint>(std::max<std::chrono::milliseconds::rep>(patience.count(), 1)),
        [](gpointer flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_REMOVE;
        },
        &late);
    while (!condition() && !late) {
        g_main_context_iteration(nullptr, TRUE);
    }
    if (!late) {
        g_source_remove(timer);
    }
    return condition();
}

// What became of a call. Shared with the callback, which may come when nobody waits any more.
struct Outcome {
    bool done = false;
    std::string error;
};
using Shared = std::shared_ptr<Outcome>;

void onReply(GObject* connection, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Shared> outcome(static_cast<Shared*>(data));
    GError* error = nullptr;
    const VariantPtr reply(
        g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error));
    const gtk::GErrorPtr failure(error);
    (*outcome)->done = true;
    (*outcome)->error = failure ? failure->message : "";
}

std::string tokenIn(GVariant* platformData) {
    const char* token = nullptr;
    for (const char* key : {"activation-token", "desktop-startup-id"}) {
        if (g_variant_lookup(platformData, key, "&s", &token) != FALSE) {
            return token;
        }
    }
    return {};
}

} // namespace

SessionBus::SessionBus(std::string applicationId, Log& log)
    : applicationId_(std::move(applicationId))
    , log_(log) {}

SessionBus::~SessionBus() {
    letGo();
}

std::string SessionBus::objectPath() const {
    std::string path = "/" + applicationId_;
    std::ranges::replace(path, '.', '/');
    std::ranges::replace(path, '-', '_');
    return path;
}

SessionBus::Claim SessionBus::claim(const std::string& token, std::chrono::milliseconds patience) {
    claiming_ = true;
    follower_.emplace(
        G_BUS_TYPE_SESSION,
        BusFollower::Events{.came = [this](GDBusConnection* bus) { joined(bus); },
                            .went = [this](const std::string& trouble) { left(trouble); }});
    const bool known = await([this] { return name_ != Name::unknown; }, patience);
    claiming_ = false;
    if (!known) {
        log_.write("the session bus does not answer");
        return Claim::silent;
    }
    if (name_ == Name::refused) {
        log_.write(fmt::format("the session bus is not used: {}", trouble_));
    } else if (name_ == Name::owned) {
        return Claim::owned;
    } else if (handOver(token, patience)) {
        return Claim::handedOver;
    }
    return Claim::noBus;
}

void SessionBus::joined(GDBusConnection* bus) {
    connection_.reset(static_cast<GDBusConnection*>(g_object_ref(bus)));
    asking_.reset(g_cancellable_new());
    offer();
    askForName();
    if (!claiming_ && onReturned) {
        onReturned();
    }
}

void SessionBus::left(const std::string& trouble) {
    letGo();
    name_ = Name::refused;
    trouble_ = trouble.empty() ? "it has ended" : trouble;
    if (!claiming_ && onEnded) {
        onEnded();
    }
}

void SessionBus::letGo() {
    g_cancellable_cancel(asking_.get());
    if (registration_ != 0) {
        g_dbus_connection_unregister_object(connection_.get(), std::exchange(registration_, 0));
    }
    connection_.reset();
}

void SessionBus::askForName() {
    name_ = Name::unknown;
    g_dbus_connection_call(
        connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", applicationId_.c_str(), doNotQueue),
        G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, asking_.get(), onNamed, this);
}

void SessionBus::onNamed(GObject* connection, GAsyncResult* result, gpointer data) {
    GError* error = nullptr;
    const VariantPtr reply(
        g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error));
    const gtk::GErrorPtr failure(error);
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE) {
        return; // `data` may be gone
    }
    auto* const self = static_cast<SessionBus*>(data);
    if (!reply) {
        self->name_ = Name::refused;
        self->trouble_ = failure->message;
        return;
    }
    guint32 answer = 0;
    g_variant_get(reply.get(), "(u)", &answer);
    self->name_ = answer == primaryOwner || answer == alreadyOwner ? Name::owned : Name::taken;
}

bool SessionBus::handOver(const std::string& token, std::chrono::milliseconds patience) {
    if (!connection_) {
        return false;
    }
    GVariantBuilder data;
    g_variant_builder_init(&data, G_VARIANT_TYPE_VARDICT);
    if (!token.empty()) {
        for (const char* key : {"activation-token", "desktop-startup-id"}) {
            g_variant_builder_add(&data, "{sv}", key, g_variant_new_string(token.c_str()));
        }
    }
    const auto asking = std::make_shared<Outcome>();
    g_dbus_connection_call(connection_.get(), applicationId_.c_str(), objectPath().c_str(),
                           "org.freedesktop.Application", "Activate",
                           g_variant_new("(a{sv})", &data), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
                           nullptr, onReply, new Shared(asking));
    if (await([&] { return asking->done; }, patience) && !asking->error.empty()) {
        log_.write(fmt::format("cannot reach the running instance: {}", asking->error));
    }
    return true; // it is there, whether or not it has answered yet
}

void SessionBus::offer() {
    static constexpr GDBusInterfaceVTable table{
        .method_call = onCall, .get_property = nullptr, .set_property = nullptr, .padding = {}};
    static GDBusNodeInfo* const description =
        g_dbus_node_info_new_for_xml(applicationInterface, nullptr);
    registration_ = g_dbus_connection_register_object(connection_.get(), objectPath().c_str(),
                                                      description->interfaces[0], &table, this,
                                                      nullptr, nullptr);
}

void SessionBus::onCall(GDBusConnection* /*connection*/, const char* /*sender*/,
                        const char* /*path*/, const char* /*interface*/, const char* /*method*/,
                        GVariant* arguments, GDBusMethodInvocation* call, gpointer data) {
    const auto* const self = static_cast<SessionBus*>(data);
    const VariantPtr platformData(g_variant_get_child_value(arguments, 0));
    std::string token = tokenIn(platformData.get());
    g_dbus_method_invocation_return_value(call, nullptr);
    if (const auto activate = self->onActivate) {
        activate(std::move(token));
    }
}

void SessionBus::release() {
    if (connection_) {
        g_dbus_connection_call(connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                               "org.freedesktop.DBus", "ReleaseName",
                               g_variant_new("(s)", applicationId_.c_str()), nullptr,
                               G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
    }
}

} // namespace platform::desktop
