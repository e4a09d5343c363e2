// Update panels shown by the window program. A panel with buttons is answered as if it had been
// closed when the window program dies; one without is shown again by the next. Main thread only.
#pragma once

#include "platform/appcast/UpdateUi.h"
#include "platform/linux/WindowHost.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace platform::desktop {

class RemoteUpdateUi final : public appcast::UpdateUi, private WindowClient {
  public:
    // `openUrl` shows the release notes. The host outlives this object.
    RemoteUpdateUi(WindowHost& host, std::function<void(const std::string&)> openUrl);

    // The desktop's permission for the next panel to come to the front.
    void useToken(const std::string& token) { token_ = token; }

    void show(const appcast::UpdatePanel& panel,
              std::function<void(std::size_t)> answered) override;
    void setProgress(const std::string& text, std::optional<double> fraction) override;
    void bringToFront() override;
    void close() override;

  private:
    struct Shown {
        std::uint64_t id;
        appcast::UpdatePanel panel;
        std::function<void(std::size_t)> answered;
        std::string progressText = {};
        std::optional<double> fraction = {};
    };

    void sayAgain() override;
    void programDied() override;
    void gaveUp() override { programDied(); }
    [[nodiscard]] bool isOnScreen() const override { return shown_.has_value(); }

    void answer(std::size_t button);
    void panelAnswered(std::uint64_t id, std::uint32_t button);
    void panelLinkFollowed(std::uint64_t id);

    WindowHost& host_;
    std::function<void(const std::string&)> openUrl_;
    std::optional<Shown> shown_;
    std::string token_;
    bool isSaid_ = false; // to the window program that runs
};

} // namespace platform::desktop
