// Draws update panels (platform/appcast/UpdatePanel.h) in one GTK window of a fixed width. Return
// presses the first button, Escape and the close button give the panel's own answer, and a panel
// without buttons cannot be closed. All text is shown as it stands, never as markup. Main thread
// only.
#pragma once

#include "platform/appcast/UpdateUi.h"

#include <functional>
#include <memory>
#include <string>

namespace platform::gtk {

class GtkUpdateUi final : public appcast::UpdateUi {
  public:
    // `openUrl` shows the release notes. GTK must be initialised.
    explicit GtkUpdateUi(std::function<void(const std::string&)> openUrl);
    ~GtkUpdateUi() override;
    GtkUpdateUi(const GtkUpdateUi&) = delete;
    GtkUpdateUi& operator=(const GtkUpdateUi&) = delete;

    void show(const appcast::UpdatePanel& panel,
              std::function<void(std::size_t)> answered) override;
    void setProgress(const std::string& text, std::optional<double> fraction) override;
    void bringToFront() override;
    void close() override;

  private:
    class PanelWindow;

    std::function<void(const std::string&)> openUrl_;
    std::unique_ptr<PanelWindow> window_;
};

} // namespace platform::gtk
