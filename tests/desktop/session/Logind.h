// logind on a system bus of the test, as far as an application asks it: one session, and the
// signals that tell of its end. What comes in is handled while waitFor() runs. Throws
// std::runtime_error.
#pragma once

#include "platform/linux/GObjectPtr.h"
#include "tests/desktop/session/Waiting.h"

#include <gio/gio.h>

#include <memory>
#include <string>

namespace desktop {

class Logind {
  public:
    explicit Logind(const std::string& busAddress);
    ~Logind();
    Logind(const Logind&) = delete;
    Logind& operator=(const Logind&) = delete;

    template <typename Condition>
    [[nodiscard]] static bool waitFor(Condition condition) {
        return eventually([&] {
            while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
            }
            return condition();
        });
    }

    // Somebody has asked for the session, and listens to the manager since before that.
    [[nodiscard]] bool wasAsked() const { return asked_ > 0; }
    // Whether the state of the session was asked for since it closes.
    [[nodiscard]] bool tellsThatItCloses() const { return told_; }

    void prepareForShutdown(bool begins) const;
    void removeSession() const { removed("7", session); }
    void removeAnotherSession() const { removed("8", "/org/freedesktop/login1/session/_38"); }
    // It loses its seat and, if so, is about to end.
    void deactivateSession(bool closes);
    void lockSession() const;

  private:
    static constexpr const char* session = "/org/freedesktop/login1/session/_37";

    static void onCall(GDBusConnection* bus, const char* sender, const char* path,
                       const char* interface, const char* method, GVariant* arguments,
                       GDBusMethodInvocation* call, gpointer self);
    static GVariant* onGet(GDBusConnection* bus, const char* sender, const char* path,
                           const char* interface, const char* property, GError** error,
                           gpointer self);

    void offer(const char* path, const char* interface);
    void removed(const char* id, const char* path) const;
    void emit(const char* path, const char* interface, const char* signal,
              GVariant* arguments) const;

    platform::gtk::GObjectPtr<GDBusConnection> bus_;
    std::unique_ptr<GDBusNodeInfo, decltype(&g_dbus_node_info_unref)> description_;
    bool closes_ = false;
    bool told_ = false;
    int asked_ = 0;
};

} // namespace desktop
