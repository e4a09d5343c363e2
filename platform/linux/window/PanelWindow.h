// A panel in a window of its own: about an update, or a question (alert), which has the
// application's icon, keeps the user from other windows and shows its title once, in the text.
// Return presses the default button, Escape and the close button give the panel's own answer, and a
// panel without buttons cannot be closed. All text is shown as it stands, never as markup. Main
// thread only.
#pragma once

#include "platform/linux/window/Toplevels.h"

#include <gtkmm/box.h>
#include <gtkmm/button.h>
#include <gtkmm/label.h>
#include <gtkmm/progressbar.h>
#include <gtkmm/window.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform::gtk {

class PanelWindow : public sigc::trackable {
  public:
    struct Content {
        std::string title;
        std::string text;
        std::string linkTitle; // empty: none
        std::vector<std::string> buttons;
        std::uint32_t defaultButton;
        std::uint32_t closeAnswer;
        bool isAlert = false;
        bool showsProgress = false;
        std::string token = {}; // to come to the front, or empty
    };

    // `answered` is called once, unless the panel goes before.
    PanelWindow(Toplevels& toplevels, Content content, std::function<void(std::uint32_t)> answered,
                std::function<void()> linkFollowed);
    ~PanelWindow();
    PanelWindow(const PanelWindow&) = delete;
    PanelWindow& operator=(const PanelWindow&) = delete;

    void present() { window_.present(); }
    void setProgress(const std::string& text, std::optional<double> fraction);

  private:
    void becomeAnAlert();
    void addContent();
    void addText(Gtk::Box& box);
    void addProgress();
    void addButtons();
    void listenForEscape();
    void dismiss();
    void answer(std::uint32_t index);

    Toplevels& toplevels_;
    const Content content_;
    std::function<void(std::uint32_t)> answered_;
    std::function<void()> linkFollowed_;
    Gtk::Window window_;
    Gtk::Box box_;
    Gtk::ProgressBar progress_;
    Gtk::Label progressText_;
    Gtk::Button* default_ = nullptr;
    sigc::connection pulse_;
};

} // namespace platform::gtk
