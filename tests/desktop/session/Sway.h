// sway as the Wayland compositor of a session: its screen is a window of the session's X server, so
// that xdotool's mouse and keyboard are its own. Windows float, without frames; one that asks for
// the focus with a permission of the compositor's gets it. Programs started after it are its
// clients, GTK's, too.
#pragma once

#include "tests/desktop/session/DesktopSession.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace desktop {

struct SwayWindow {
    std::string applicationId = {};
    std::string title = {};
    Box place = {}; // on sway's screen, without what the program draws around it
    bool focused = false;
};

class Sway {
  public:
    // Throws std::runtime_error when it does not start. The session outlives it.
    explicit Sway(DesktopSession& session);

    [[nodiscard]] std::vector<SwayWindow> windows() const;
    [[nodiscard]] std::optional<SwayWindow> window(const std::string& title) const;
    [[nodiscard]] bool hasTheFocus(const std::string& title) const;
    // In sway's language: `[title="x"] focus`.
    void command(const std::string& text) const;
    // What another program gets when it pastes.
    [[nodiscard]] std::string clipboard() const;
    // A permission to take the focus, such as a tray gets with a click.
    [[nodiscard]] std::string activationToken() const;
    // What is on its screen, or a part of it.
    [[nodiscard]] std::optional<Screenshot> screenshot(const std::optional<Box>& part = {}) const;
    void click(int x, int y) const;

  private:
    [[nodiscard]] bool isReady();

    DesktopSession& session_;
    std::filesystem::path own_; // its folder
    std::string screen_;        // the X id of its window
    std::unique_ptr<Program> program_;
};

} // namespace desktop
