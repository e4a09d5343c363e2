// The application object: main loop, activation, and the questions the system asks a running
// application. Modelled on AppKit's NSApplication and its delegate; every call and every callback
// happens on the main thread.
#pragma once

#include <cstdint>
#include <optional>

namespace platform {

// Whether the application ends, or goes on as if nobody had asked.
enum class TerminateReply { now, cancel };
// Whether the application has a place among the running ones (Dock, task switcher) or only shows
// its status item and windows.
enum class ActivationPolicy { regular, accessory };

// An Apple event as the delegate sees it: four-character codes, and the value of the "why?"
// attribute when the event carries one. Systems without Apple events describe a quit that the
// session asked for ('aevt', 'quit') in the same terms.
struct SystemEvent {
    std::uint32_t eventClass = 0;     // its suite, such as 'aevt'
    std::uint32_t eventId = 0;        // its kind, such as 'quit'
    std::optional<std::uint32_t> why; // absent when the event says no reason
};

// What the application is asked and told by the system.
class ApplicationDelegate {
  public:
    virtual ~ApplicationDelegate() = default;

    // Called once, when the main loop runs and no other instance took the launch.
    virtual void applicationDidFinishLaunching() = 0;
    // Somebody asks the application to end: the user, the session, a signal, or terminate().
    virtual TerminateReply applicationShouldTerminate() = 0;
    // Called once, just before the process ends in an orderly way.
    virtual void applicationWillTerminate() = 0;
    // A second launch, or a click on the application's icon. True: the system goes on with what it
    // does by itself, such as bringing a window to the front.
    virtual bool applicationShouldHandleReopen(bool hasVisibleWindows) = 0;
    // Whether the application ends with its last window.
    virtual bool applicationShouldTerminateAfterLastWindowClosed() = 0;
};

class Application {
  public:
    virtual ~Application() = default;

    // Runs the main loop until a termination was granted; returns the exit status. The delegate is
    // not owned and outlives the call. It is not called when another instance of this user runs
    // already: that one is asked to reopen (0), or, where nobody here would see it, named (1).
    virtual int run(ApplicationDelegate& delegate) = 0;
    // For a launch that is to take the place of a running instance (an update's): tells that one
    // that everything is done which could go wrong, and blocks until it has ended. False: it stays,
    // and this process is ending instead. True at once for every other launch.
    [[nodiscard]] virtual bool takeOver() = 0;
    // Asks the delegate, and ends the main loop if it agrees.
    virtual void terminate() = 0;
    // Brings the application to the front, where the system lets it.
    virtual void activateIgnoringOtherApps() = 0;
    // Holds until the next call.
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
    // The event being handled, while one is.
    [[nodiscard]] virtual std::optional<SystemEvent> currentEvent() const = 0;
};

} // namespace platform
