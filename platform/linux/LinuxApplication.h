// The application object on GLib's main loop. One instance per user: per folder of private data by
// a lock (InstanceLock.h), and per session bus by a unique name (SessionBus.h); either way the
// second launch asks the first one to reopen, hands over its activation token, and returns 0. One
// in a session that does not see the first one's display says where that is, and returns 1.
//
// What the system says is told to the delegate in these terms:
//   SIGTERM, SIGINT, SIGHUP                          terminate() with the event 'aevt' 'quit',
//                                                    why? 'logo'
//   the session manager asks whether it may end      applicationShouldTerminate with the same
//                                                    event; `cancel` holds the session until
//                                                    the delegate, asked again, agrees
//   the session manager or logind ends the session,  applicationWillTerminate with the same event
//   or the display has gone for good
//   the application's quit key (Control+Q)           terminate() without an event
//   a second launch                                  applicationShouldHandleReopen; `true` brings
//                                                    the window used last to the front
//
// A launch that follows a running instance does without lock and name until that one has gone,
// which is when takeOver() returns.
//
// While a modal alert blocks a caller, ending waits: the alert is answered for the user, the caller
// goes on, and the application ends when the main loop has its turn again.
//
// applicationWillTerminate is called exactly once on each of these ways out. It comes before
// everything at the end that may have to wait for a display or a bus. Main thread only.
#pragma once

#include "platform/Application.h"
#include "platform/Log.h"
#include "platform/appcast/HandOver.h"
#include "platform/linux/ActivationTokens.h"
#include "platform/linux/InstanceLock.h"
#include "platform/linux/LogindClient.h"
#include "platform/linux/SessionBus.h"
#include "platform/linux/SessionManagerClient.h"
#include "platform/linux/WindowHost.h"

#include <atomic>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform::desktop {

class LinuxApplication final : public Application {
  public:
    // `privateFolder` receives the lock. The host and the tokens outlive this object.
    LinuxApplication(std::string applicationId, const std::filesystem::path& privateFolder,
                     const Environment& environment, appcast::Predecessor predecessor,
                     WindowHost& windows, ActivationTokens& tokens, Log& log);
    ~LinuxApplication() override;
    LinuxApplication(const LinuxApplication&) = delete;
    LinuxApplication& operator=(const LinuxApplication&) = delete;

    int run(ApplicationDelegate& delegate) override;
    [[nodiscard]] bool takeOver() override;
    void terminate() override;
    void activateIgnoringOtherApps() override;
    void setActivationPolicy(ActivationPolicy policy) override;
    [[nodiscard]] std::optional<SystemEvent> currentEvent() const override;

    // Whether the end is agreed to; any thread.
    [[nodiscard]] bool isEnding() const { return ending_; }
    // The news that the user closed (hid) a window.
    void windowWasClosed();
    // Takes every window off the screen; nothing is closed.
    std::function<void()> hideWindows;

    // Exists while a modal alert blocks the main thread.
    class ModalScope {
      public:
        explicit ModalScope(LinuxApplication& application)
            : application_(application) {
            application_.modalBegins();
        }
        ~ModalScope() { application_.modalEnds(); }
        ModalScope(const ModalScope&) = delete;
        ModalScope& operator=(const ModalScope&) = delete;

        // Whether the user's answer is no longer waited for.
        [[nodiscard]] bool isOver() const {
            return application_.ending_ || application_.modalsDismissed_;
        }

      private:
        LinuxApplication& application_;
    };

  private:
    enum class Stage { idle, launching, running, ended };

    static gboolean onSignal(gpointer self);
    static gboolean onLaunch(gpointer self);
    static gboolean onModalsOver(gpointer self);
    static gboolean onDisplaced(gpointer self);

    bool becomeTheInstance(int& exitStatus);
    bool claimTheInstance(int& exitStatus);
    void giveUp(int exitStatus);
    bool registerOnBus();
    void watchSignals();
    void joinSession();
    void reopen();
    [[nodiscard]] bool staysDisplaced();
    [[nodiscard]] bool sessionMayEnd();
    void sessionEnds();
    void displayGone(bool isFirst);
    void endAfterModals();
    void modalBegins();
    void modalEnds();
    void end();

    std::string applicationId_;
    Environment environment_;
    appcast::Predecessor predecessor_;
    WindowHost& windows_;
    ActivationTokens& tokens_;
    Log& log_;
    InstanceLock instance_;
    SessionBus bus_;
    std::optional<SessionManagerClient> session_;
    std::optional<LogindClient> logind_;
    ApplicationDelegate* delegate_ = nullptr;
    Stage stage_ = Stage::idle;
    int exitStatus_ = 0;
    bool asking_ = false;
    std::atomic<bool> ending_ = false;      // agreed to, perhaps not begun
    std::optional<SystemEvent> eventAtEnd_; // by which that was asked
    int modals_ = 0;
    bool modalsDismissed_ = false;
    std::optional<SystemEvent> currentEvent_;
    std::vector<guint> sources_;
};

} // namespace platform::desktop
