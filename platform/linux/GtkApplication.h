// The application object on GTK 4. One instance per user: per folder of private data by a lock
// (InstanceLock.h), and per session bus by GApplication's unique name; either way the second
// launch asks the first one to reopen, hands over its activation token, and returns 0.
//
// What the system says is told to the delegate in these terms:
//   SIGTERM, SIGINT, SIGHUP                          terminate() with the event 'aevt' 'quit',
//                                                    why? 'logo'
//   the session manager asks whether it may end      applicationShouldTerminate with the same
//                                                    event; `cancel` holds the session until
//                                                    the delegate, asked again, agrees
//   the session manager ends the session             applicationWillTerminate with the same event
//   the application's quit accelerator (Control+Q)   terminate() without an event
//   a second launch                                  applicationShouldHandleReopen; `true` brings
//                                                    the window used last to the front
//
// While a modal alert blocks a caller, ending waits: the alert is answered for the user, the caller
// goes on, and the application ends when the main loop has its turn again.
//
// applicationWillTerminate is called exactly once on each of these ways out. A display connection
// that is lost is not one of them: GDK ends the process at once, and what must not outlive the
// process needs a guardian (platform/ChildProcess.h). Main thread only.
#pragma once

#include "platform/Application.h"
#include "platform/Log.h"
#include "platform/linux/InstanceLock.h"

#include <gtkmm/application.h>

#include <filesystem>
#include <string>
#include <vector>

namespace platform::gtk {

class GtkApplication final : public Application {
  public:
    // GTK must be initialised. `privateFolder` receives the lock.
    GtkApplication(std::string applicationId, const std::filesystem::path& privateFolder, Log& log);
    ~GtkApplication() override;
    GtkApplication(const GtkApplication&) = delete;
    GtkApplication& operator=(const GtkApplication&) = delete;

    int run(ApplicationDelegate& delegate) override;
    void terminate() override;
    void activateIgnoringOtherApps() override;
    void setActivationPolicy(ActivationPolicy policy) override;
    [[nodiscard]] std::optional<SystemEvent> currentEvent() const override;

    // For the windows of this back end: the toolkit's application, which owns the accelerators,
    // and the news that the user closed (hid) one of them.
    [[nodiscard]] const Glib::RefPtr<Gtk::Application>& toolkit() const { return toolkit_; }
    void windowWasClosed();
    // Takes every window off the screen; nothing is closed.
    void hide();

    // Exists while a modal alert blocks the main thread.
    class ModalScope {
      public:
        explicit ModalScope(GtkApplication& application)
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
        GtkApplication& application_;
    };

  private:
    enum class Stage { idle, launching, running, ended };

    static gboolean onSignal(gpointer self);
    static void onQueryEnd(::GtkApplication* toolkit, gpointer self);

    bool becomeTheInstance(int& exitStatus);
    bool registerOnBus();
    void releaseBusName();
    void watchSignals();
    void onActivate();
    void onShutdown();
    void reopen();
    void endAfterModals();
    void modalBegins();
    void modalEnds();
    void end();
    [[nodiscard]] std::vector<Gtk::Window*> visibleWindows() const;

    std::string applicationId_;
    Log& log_;
    InstanceLock instance_;
    Glib::RefPtr<Gtk::Application> toolkit_;
    ApplicationDelegate* delegate_ = nullptr;
    Stage stage_ = Stage::idle;
    bool asking_ = false;
    bool ending_ = false;                   // agreed to, perhaps not begun
    std::optional<SystemEvent> eventAtEnd_; // by which that was asked
    int modals_ = 0;
    bool modalsDismissed_ = false;
    std::optional<SystemEvent> currentEvent_;
    std::string activationToken_;
    guint refusal_ = 0; // the session manager's cookie, while the delegate refuses
    std::vector<guint> signalWatches_;
};

} // namespace platform::gtk
