// One end of the connection between the application and its window program: calls to the other
// side, and calls from it, which are judged (WindowInterface.h) and counted before they are
// answered. Messages arrive in the order of sending, in GLib's default main context; sending never
// blocks. Main thread only.
#pragma once

#include "platform/linux/GObjectPtr.h"
#include "platform/linux/connection/Variant.h"
#include "platform/linux/connection/WindowInterface.h"
#include "platform/posix/UniqueFd.h"

#include <gio/gio.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

namespace platform::connection {

// The answer to one question; asked again it does nothing. A question whose Reply goes without an
// answer gets an error.
class Reply {
  public:
    explicit Reply(GDBusMethodInvocation* call)
        : call_(call) {}
    Reply(Reply&& other) noexcept
        : call_(std::exchange(other.call_, nullptr)) {}
    Reply& operator=(Reply&&) = delete;
    ~Reply();

    template <typename... Results>
    void operator()(const Results&... results) {
        finish(pack(results...));
    }

  private:
    void finish(GVariant* results);

    GDBusMethodInvocation* call_;
};

// What a side answers. The types of each method must be those of the interface's description;
// std::logic_error otherwise.
class Calls {
  public:
    explicit Calls(Side side)
        : side_(side) {}

    // A method that returns nothing; it is acknowledged when the handler has returned.
    template <typename Owner, typename... Arguments>
    void on(const char* method, Owner* owner, void (Owner::*handler)(Arguments...)) {
        add(method, signatureOf<std::decay_t<Arguments>...>(),
            [owner, handler](GVariant* arguments, Reply reply) {
                std::apply([&](auto&&... each) { (owner->*handler)(std::move(each)...); },
                           unpack<std::decay_t<Arguments>...>(arguments));
                reply();
            });
    }
    template <typename Owner, typename... Arguments>
    void onQuestion(const char* method, Owner* owner, void (Owner::*handler)(Reply, Arguments...)) {
        add(method, signatureOf<std::decay_t<Arguments>...>(),
            [owner, handler](GVariant* arguments, Reply reply) {
                std::apply(
                    [&](auto&&... each) {
                        (owner->*handler)(std::move(reply), std::move(each)...);
                    },
                    unpack<std::decay_t<Arguments>...>(arguments));
            });
    }

    [[nodiscard]] Side side() const { return side_; }
    // Whether every method of the side's interface is answered.
    [[nodiscard]] bool areComplete() const;

    void answer(const char* method, GVariant* arguments, GDBusMethodInvocation* call) const;

  private:
    using Handler = std::function<void(GVariant*, Reply)>;
    void add(const char* method, const std::string& types, Handler handler);

    Side side_;
    std::map<std::string, Handler, std::less<>> handlers_;
};

// What is done with the results of a question; there are none when it was not answered.
template <typename... Results>
using Answered = std::type_identity_t<std::function<void(std::optional<std::tuple<Results...>>)>>;

struct ConnectionLimits {
    std::size_t largestMessage = std::size_t{16} << 20; // bytes of a body
    std::size_t mostBytes = std::size_t{32} << 20;      // arrived and not yet dealt with
    int mostCalls = 4096;                               // likewise
};

class PeerConnection {
  public:
    static constexpr std::chrono::milliseconds forEver{-1};

    // `calls` outlives the connection. `onClosed` is called once when the other side has gone or
    // broke the rules, unless this object goes before; it may destroy this object. Throws
    // std::runtime_error.
    PeerConnection(posix::UniqueFd socket, const Calls& calls, const ConnectionLimits& limits,
                   std::function<void()> onClosed);
    ~PeerConnection();
    PeerConnection(const PeerConnection&) = delete;
    PeerConnection& operator=(const PeerConnection&) = delete;

    template <typename... Arguments>
    void tell(const char* method, const Arguments&... arguments) {
        send(method, pack(arguments...));
    }

    // `done` is called once, later: with nothing when the other side has gone, did not answer in
    // time or made no sense of it. It may be called after this object has gone.
    template <typename... Results, typename... Arguments>
    void ask(const char* method, std::chrono::milliseconds patience, Answered<Results...> done,
             const Arguments&... arguments) {
        call(method, pack(arguments...), "(" + signatureOf<Results...>() + ")", patience,
             [done = std::move(done)](GVariant* results) {
                 done(results == nullptr ? std::nullopt
                                         : std::optional(unpack<Results...>(results)));
             });
    }
    // How many questions are under way.
    [[nodiscard]] int questions() const { return *questions_; }

  private:
    struct Gate; // what the thread that reads messages shares with this one

    static GDBusMessage* onMessage(GDBusConnection* connection, GDBusMessage* message,
                                   gboolean incoming, gpointer gate);
    static void onCall(GDBusConnection* connection, const char* sender, const char* path,
                       const char* interface, const char* method, GVariant* arguments,
                       GDBusMethodInvocation* call, gpointer self);
    static void onClosedByPeer(GDBusConnection* connection, gboolean vanished, GError* error,
                               gpointer self);
    static gboolean onBroken(gpointer gate);

    void send(const char* method, GVariant* arguments);
    void call(const char* method, GVariant* arguments, const std::string& results,
              std::chrono::milliseconds patience, std::function<void(GVariant*)> done);
    void ended();

    const Calls& calls_;
    const Endpoint& peer_;
    std::function<void()> onClosed_;
    std::shared_ptr<Gate> gate_;
    std::shared_ptr<int> questions_ = std::make_shared<int>(0);
    gtk::GObjectPtr<GDBusConnection> connection_;
    guint registration_ = 0;
    guint filter_ = 0;
};

} // namespace platform::connection
