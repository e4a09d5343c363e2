// A private X11 desktop for one test: a session (PrivateSession.h) with an X server without a
// screen on a display number of its own and openbox as the window manager (it draws the close
// button and gives the focus).
#pragma once

#include "platform/posix/UniqueFd.h"
#include "tests/desktop/session/PrivateSession.h"
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

class DesktopSession : public PrivateSession {
  public:
    // Throws std::runtime_error when a part of the session does not start.
    explicit DesktopSession(ScreenSize screen = {.width = 1600, .height = 1000});
    ~DesktopSession();

    // The X ids of the windows that are on the screen and have this title.
    [[nodiscard]] std::vector<std::string> visibleWindows(const std::string& title) const;
    // One of them.
    [[nodiscard]] std::optional<std::string> visibleWindow(const std::string& title) const;
    [[nodiscard]] WindowGeometry geometry(const std::string& window) const;
    // Menus, tool tips and the like that are on the screen: windows that no window manager manages.
    [[nodiscard]] std::vector<WindowGeometry> popups() const;
    // A key or a combination in xdotool's words ("ctrl+w"), sent to whatever has the focus.
    void pressKey(const std::string& key) const;
    void type(const std::string& text) const;
    void click(int x, int y) const;
    void movePointer(int x, int y) const;
    void focus(const std::string& window) const;
    // A press and release of a mouse button (1 is the left one) at a place in the window.
    void click(const std::string& window, int x, int y, int button = 1) const;
    void resize(const std::string& window, int width, int height) const;
    // What a click on the close button does: the window manager is told (_NET_CLOSE_WINDOW of the
    // Extended Window Manager Hints) and asks the application.
    void close(const std::string& window) const;

    // `window` is an X id, or "root".
    [[nodiscard]] std::optional<Screenshot> screenshot(const std::string& window) const;
    // A part of the window.
    [[nodiscard]] std::optional<Screenshot> screenshotOf(const WindowGeometry& area,
                                                         const std::string& window = "root") const;
    // For a test that failed: STEM.png, the screen, and the output of every program started so far
    // under STEM.NAME.out and STEM.NAME.err.
    void keepEvidence(const std::filesystem::path& folder, std::string stem) const;

    // The X id of the window that has the focus.
    [[nodiscard]] std::string activeWindow() const;

    void killDisplay();
    // After killDisplay(): another X server on the same display, with a window manager.
    void restartDisplay();
    // A second X server, without a window manager; what is started or asked from then on has it.
    void moveToAnotherDisplay();
    void signalDisplay(int number) const { display_->signal(number); }

  private:
    // Puts its display into the environment.
    [[nodiscard]] std::unique_ptr<Program> startServer(std::vector<std::string> command,
                                                       const std::string& name);
    void startDisplay();
    void startWindowManager();

    ScreenSize screen_;
    std::unique_ptr<Program> display_;
    std::unique_ptr<Program> otherDisplay_;
    platform::posix::UniqueFd displayNumber_; // held after killDisplay()
    std::unique_ptr<Program> windowManager_;
};

} // namespace desktop
