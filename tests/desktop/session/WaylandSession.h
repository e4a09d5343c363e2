// A private Wayland desktop for one test: a session (PrivateSession.h) with sway as the compositor,
// without a screen, keyboard or mouse. Windows float, without frames, each in the middle of the
// screen; one that asks for the focus with a permission gets it. There is no X server.
#pragma once

#include "tests/desktop/session/PrivateSession.h"
#include "tests/desktop/session/Screenshot.h"

#include <boost/json/value.hpp>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace desktop {

struct WaylandWindow {
    std::string applicationId = {};
    std::string title = {};
    Box place = {}; // without what the program draws around it
    bool focused = false;
};

class WaylandSession : public PrivateSession {
  public:
    // Throws std::runtime_error when a part of the session does not start.
    WaylandSession();
    ~WaylandSession();

    [[nodiscard]] std::vector<WaylandWindow> windows() const;
    [[nodiscard]] std::optional<WaylandWindow> window(const std::string& title) const;
    // A command of sway's, for example `[title="x"] focus`.
    void command(const std::string& text) const;
    // What another program gets when it pastes.
    [[nodiscard]] std::string clipboard() const;
    [[nodiscard]] std::optional<Screenshot> screenshot() const;
    void keepEvidence(const std::filesystem::path& folder, const std::string& stem) const;

  private:
    [[nodiscard]] bool isReady(const std::filesystem::path& compositorsFolder);

    std::unique_ptr<Program> compositor_;
};

} // namespace desktop
