// The fixture of the tests that drive the real application on a desktop of its own. It knows where
// the build put the application, reads what it logs, and finds its window and its server. A test
// that fails leaves a screenshot and the application's output in the build folder, under
// desktop-failures.
#pragma once

#include "tests/desktop/session/DesktopSession.h"
#include "tests/desktop/session/Waiting.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace desktop {

// The server as the application's log tells of it.
struct ServerLaunch {
    pid_t pid = 0;
    int port = 0;
};

// The circle in the middle of the application's icon.
inline constexpr Colour iconsGold{.red = 0xff, .green = 0xd1, .blue = 0x66};
inline constexpr Colour startingPageBackground{.red = 0x11, .green = 0x11, .blue = 0x11};

class ApplicationTest : public ::testing::Test {
  protected:
    explicit ApplicationTest(ScreenSize screen = {.width = 1600, .height = 1000})
        : session(screen) {}

    void TearDown() override;

    [[nodiscard]] std::unique_ptr<Program> launch(const std::vector<std::string>& arguments = {});
    // As launch(), and the window is on the screen and the server answers when it returns.
    void launchUntilReady();

    [[nodiscard]] std::optional<std::string> window() const;
    // From now on the server that is started never becomes healthy: the starting page stays.
    void keepTheServerSilent();
    // The first server is the one that ships; those that follow it never become healthy.
    void letTheServerRunOnce();

    [[nodiscard]] bool windowAppears() const;
    [[nodiscard]] bool windowDisappears() const;
    // Waits until at least that many launches were logged.
    [[nodiscard]] std::vector<ServerLaunch> serverLaunches(std::size_t atLeast) const;
    [[nodiscard]] bool serverAnswers(int port) const;
    // Whether the window shows something else than the starting page, and whether it comes to.
    [[nodiscard]] bool showsTheServersPageNow() const;
    [[nodiscard]] bool showsTheServersPage() const;
    [[nodiscard]] bool showsTheStartingPage() const;
    // How often the application has written that.
    [[nodiscard]] std::size_t logged(const std::string& text) const;
    [[nodiscard]] bool nothingIsLeft() const;
    // The same of what shows the window.
    [[nodiscard]] bool noWindowIsLeft() const;
    [[nodiscard]] std::vector<Process> processesNamed(const std::string& name) const;

    DesktopSession session;
    std::unique_ptr<Program> application;

  private:
    int launches_ = 0;
};

} // namespace desktop
