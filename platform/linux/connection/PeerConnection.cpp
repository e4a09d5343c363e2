#include "platform/linux/connection/PeerConnection.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <stdexcept>
#include <utility>

namespace platform::connection {
namespace {

using gtk::GErrorPtr;
using gtk::GObjectPtr;

Side otherThan(Side side) {
    return side == Side::program ? Side::owner : Side::program;
}

gtk::GObjectPtr<GDBusConnection> connect(posix::UniqueFd descriptor) {
    GError* error = nullptr;
    const GObjectPtr<GSocket> socket(g_socket_new_from_fd(descriptor.get(), &error));
    if (!socket) {
        const GErrorPtr failure(error);
        throw std::runtime_error(failure->message);
    }
    (void)descriptor.release(); // the socket's now
    const GObjectPtr<GSocketConnection> stream(
        g_socket_connection_factory_create_connection(socket.get()));
    // Nobody else holds an end, so there is nothing to authenticate, and nothing to wait for.
    GObjectPtr<GDBusConnection> connection(g_dbus_connection_new_sync(
        G_IO_STREAM(stream.get()), nullptr, G_DBUS_CONNECTION_FLAGS_DELAY_MESSAGE_PROCESSING,
        nullptr, nullptr, &error));
    if (!connection) {
        const GErrorPtr failure(error);
        throw std::runtime_error(failure->message);
    }
    g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
    return connection;
}

// The same for no body and for one without values, which stand for each other.
std::size_t sizeOf(GVariant* body) {
    return body == nullptr ? 1 : std::max<std::size_t>(g_variant_get_size(body), 1);
}

struct Question {
    std::function<void(GVariant*)> done;
    std::shared_ptr<int> questions;
};

void onAnswered(GObject* connection, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Question> question(static_cast<Question*>(data));
    --*question->questions;
    GError* error = nullptr;
    GVariant* const results =
        g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error);
    const GErrorPtr failure(error);
    question->done(results);
    if (results != nullptr) {
        g_variant_unref(results);
    }
}

} // namespace

Reply::~Reply() {
    if (call_ != nullptr) {
        g_dbus_method_invocation_return_error_literal(call_, G_IO_ERROR, G_IO_ERROR_FAILED,
                                                      "no answer");
    }
}

void Reply::finish(GVariant* results) {
    g_variant_ref_sink(results);
    if (call_ != nullptr) {
        g_dbus_method_invocation_return_value(std::exchange(call_, nullptr), results);
    }
    g_variant_unref(results);
}

void Calls::add(const char* method, const std::string& types, Handler handler) {
    if (types != argumentsOf(side_, method)) {
        throw std::logic_error(std::string(method) + " has other types than " + types);
    }
    handlers_.insert_or_assign(method, std::move(handler));
}

bool Calls::areComplete() const {
    for (GDBusMethodInfo** method = endpointOf(side_).description->methods;
         method != nullptr && *method != nullptr; ++method) {
        if (!handlers_.contains((*method)->name)) {
            return false;
        }
    }
    return true;
}

void Calls::answer(const char* method, GVariant* arguments, GDBusMethodInvocation* call) const {
    Reply reply(call);
    const auto handler = handlers_.find(std::string_view(method));
    if (handler != handlers_.end()) {
        handler->second(arguments, std::move(reply));
    }
}

struct PeerConnection::Gate {
    Gate(Side itsSide, const ConnectionLimits& itsLimits)
        : side(itsSide)
        , limits(itsLimits) {}

    const Side side;
    const ConnectionLimits limits;
    std::atomic<int> calls = 0;
    std::atomic<std::size_t> bytes = 0;
    std::atomic<bool> broken = false;
    PeerConnection* connection = nullptr; // main thread

    // The thread that reads messages.
    [[nodiscard]] bool admits(GDBusMessage* message) {
        if (broken || !isAcceptable(message, side, limits.largestMessage)) {
            return false;
        }
        if (g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
            const std::size_t size = sizeOf(g_dbus_message_get_body(message));
            return ++calls <= limits.mostCalls && (bytes += size) <= limits.mostBytes;
        }
        return true;
    }
    void dealtWith(GVariant* arguments) {
        --calls;
        bytes -= sizeOf(arguments);
    }
};

PeerConnection::PeerConnection(posix::UniqueFd socket, const Calls& calls,
                               const ConnectionLimits& limits, std::function<void()> onClosed)
    : calls_(calls)
    , peer_(endpointOf(otherThan(calls.side())))
    , onClosed_(std::move(onClosed))
    , gate_(std::make_shared<Gate>(calls.side(), limits))
    , connection_(connect(std::move(socket))) {
    static constexpr GDBusInterfaceVTable table{
        .method_call = onCall, .get_property = nullptr, .set_property = nullptr, .padding = {}};
    gate_->connection = this;
    const Endpoint& own = endpointOf(calls.side());
    filter_ = g_dbus_connection_add_filter(
        connection_.get(), onMessage, new std::shared_ptr<Gate>(gate_),
        [](gpointer gate) { delete static_cast<std::shared_ptr<Gate>*>(gate); });
    registration_ = g_dbus_connection_register_object(connection_.get(), own.path, own.description,
                                                      &table, this, nullptr, nullptr);
    g_signal_connect(connection_.get(), "closed", G_CALLBACK(onClosedByPeer), this);
    g_dbus_connection_start_message_processing(connection_.get());
}

PeerConnection::~PeerConnection() {
    gate_->connection = nullptr;
    g_signal_handlers_disconnect_by_data(connection_.get(), this);
    g_dbus_connection_unregister_object(connection_.get(), registration_);
    g_dbus_connection_remove_filter(connection_.get(), filter_);
    g_dbus_connection_close(connection_.get(), nullptr, nullptr, nullptr);
}

// On the thread that reads messages.
GDBusMessage* PeerConnection::onMessage(GDBusConnection* /*connection*/, GDBusMessage* message,
                                        gboolean incoming, gpointer data) {
    const auto& gate = *static_cast<std::shared_ptr<Gate>*>(data);
    if (incoming == FALSE || gate->admits(message)) {
        return message;
    }
    g_object_unref(message);
    if (!gate->broken.exchange(true)) {
        g_main_context_invoke_full(
            nullptr, G_PRIORITY_DEFAULT, onBroken, new std::shared_ptr<Gate>(gate),
            [](gpointer shared) { delete static_cast<std::shared_ptr<Gate>*>(shared); });
    }
    return nullptr;
}

gboolean PeerConnection::onBroken(gpointer gate) {
    if (PeerConnection* const self = (*static_cast<std::shared_ptr<Gate>*>(gate))->connection) {
        self->ended();
    }
    return G_SOURCE_REMOVE;
}

void PeerConnection::onClosedByPeer(GDBusConnection* /*connection*/, gboolean /*vanished*/,
                                    GError* /*error*/, gpointer self) {
    static_cast<PeerConnection*>(self)->ended();
}

void PeerConnection::ended() {
    if (const auto closed = std::exchange(onClosed_, {})) {
        closed();
    }
}

void PeerConnection::onCall(GDBusConnection* /*connection*/, const char* /*sender*/,
                            const char* /*path*/, const char* /*interface*/, const char* method,
                            GVariant* arguments, GDBusMethodInvocation* call, gpointer data) {
    auto* const self = static_cast<PeerConnection*>(data);
    self->gate_->dealtWith(arguments);
    self->calls_.answer(method, arguments, call);
}

void PeerConnection::send(const char* method, GVariant* arguments) {
    g_dbus_connection_call(connection_.get(), nullptr, peer_.path, peer_.interface, method,
                           arguments, nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr,
                           nullptr, nullptr);
}

void PeerConnection::call(const char* method, GVariant* arguments, const std::string& results,
                          std::chrono::milliseconds patience, std::function<void(GVariant*)> done) {
    const auto limit = patience < std::chrono::milliseconds::zero()
                           ? std::numeric_limits<int>::max()
                           : static_cast<int>(std::min<std::chrono::milliseconds::rep>(
                                 patience.count(), std::numeric_limits<int>::max() - 1));
    ++*questions_;
    g_dbus_connection_call(
        connection_.get(), nullptr, peer_.path, peer_.interface, method, arguments,
        G_VARIANT_TYPE(results.c_str()), G_DBUS_CALL_FLAGS_NO_AUTO_START, limit, nullptr,
        onAnswered, std::make_unique<Question>(Question{std::move(done), questions_}).release());
}

} // namespace platform::connection
