// A private Linux desktop for one test: an X server without a screen on a display number of its
// own, a session bus of its own, openbox as the window manager (it draws the close button and
// gives the focus), and an empty home with all XDG folders in a temporary folder. Sessions do not
// know of each other, so tests may run in parallel. Everything is ended by process id, and the
// folder removed, by the destructor; should the test itself be killed, the kernel ends it.
//
// A program started in the session sees nothing of the environment of the test but PATH. Rendering
// is set to what needs no GPU.
#pragma once

#include "platform/Environment.h"
#include "platform/posix/UniqueFd.h"
#include "tests/desktop/session/ProcessTree.h"
#include "tests/desktop/session/Program.h"
#include "tests/desktop/session/Screenshot.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace desktop {

struct WindowGeometry {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

class DesktopSession {
  public:
    // Throws std::runtime_error when a part of the session does not start.
    DesktopSession();
    ~DesktopSession();
    DesktopSession(const DesktopSession&) = delete;
    DesktopSession& operator=(const DesktopSession&) = delete;

    // What programs are started with; a test may change it for those that it starts afterwards.
    platform::Environment environment;

    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    [[nodiscard]] std::filesystem::path dataHome() const { return folder_ / "data"; }
    [[nodiscard]] std::filesystem::path cacheHome() const { return folder_ / "cache"; }
    [[nodiscard]] std::filesystem::path configHome() const { return folder_ / "config"; }

    // `name` names its output files in the session's folder.
    [[nodiscard]] std::unique_ptr<Program> start(const std::vector<std::string>& command,
                                                 const std::string& name) const;
    // What the programs under test have started and left: all descendants of this process but
    // the session itself.
    [[nodiscard]] std::vector<Process> processes() const;
    // Those whose program has that name.
    [[nodiscard]] std::vector<Process> processesNamed(const std::string& name) const;
    // For programs started from now on, which know bubblewrap by its absolute path.
    void useInsteadOfBubblewrap(const std::string& script);

    // The X ids of the windows that are on the screen and have this title.
    [[nodiscard]] std::vector<std::string> visibleWindows(const std::string& title) const;
    // One of them.
    [[nodiscard]] std::optional<std::string> visibleWindow(const std::string& title) const;
    [[nodiscard]] WindowGeometry geometry(const std::string& window) const;
    // A key or a combination in xdotool's words ("ctrl+w"), sent to whatever has the focus.
    void pressKey(const std::string& key) const;
    void type(const std::string& text) const;
    void click(int x, int y) const;
    void focus(const std::string& window) const;
    // A press and release of a mouse button (1 is the left one) at a place in the window.
    void click(const std::string& window, int x, int y, int button = 1) const;
    void resize(const std::string& window, int width, int height) const;
    // What a click on the close button does: the window manager is told (_NET_CLOSE_WINDOW of the
    // Extended Window Manager Hints) and asks the application.
    void close(const std::string& window) const;

    // `window` is an X id, or "root".
    [[nodiscard]] std::optional<Screenshot> screenshot(const std::string& window) const;
    [[nodiscard]] std::optional<Screenshot> screenshotOf(const WindowGeometry& area) const;
    // For a test that failed: STEM.png, the screen, and the output of every program started so far
    // under STEM.NAME.out and STEM.NAME.err.
    void keepEvidence(const std::filesystem::path& folder, std::string stem) const;

    // The X id of the window that has the focus.
    [[nodiscard]] std::string activeWindow() const;

    void killDisplay();
    // After killDisplay(): another X server on the same display, with a window manager.
    void restartDisplay();
    void signalDisplay(int number) const { display_->signal(number); }
    void signalBus(int number) const { bus_->signal(number); }
    void killBus();
    // After killBus(): another one at the same place, which an address without a GUID leads to.
    void restartBus();
    [[nodiscard]] std::string busPlace() const { return "unix:path=" + (folder_ / "bus").string(); }

  private:
    // The standard output of a program that ends by itself.
    std::string ask(const std::vector<std::string>& command) const;
    void startDisplay();
    void startBus();
    void startWindowManager();

    std::filesystem::path folder_;
    std::unique_ptr<Program> display_;
    platform::posix::UniqueFd displayNumber_; // held after killDisplay()
    std::unique_ptr<Program> bus_;
    std::unique_ptr<Program> windowManager_;
};

} // namespace desktop
