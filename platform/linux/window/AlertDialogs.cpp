#include "platform/linux/window/AlertDialogs.h"

#include <glibmm/main.h>
#include <gtkmm/button.h>
#include <gtkmm/messagedialog.h>

#include <string>
#include <utility>
#include <vector>

namespace platform::gtk {
namespace {

// GTK's own word, in the user's language and without the mark of a mnemonic.
std::string confirmation() {
    std::string word = g_dgettext("gtk40", "_OK");
    std::erase(word, '_');
    return word;
}

std::vector<std::string> buttonsOf(const Alert& alert) {
    return alert.buttons.empty() ? std::vector{confirmation()} : alert.buttons;
}

} // namespace

class AlertDialogs::Dialog {
  public:
    Dialog(Toplevels& toplevels, const Alert& alert, std::function<void(std::uint32_t)> answered)
        : toplevels_(toplevels)
        , buttons_(buttonsOf(alert))
        , answered_(std::move(answered))
        , dialog_(alert.message, /*use_markup=*/false, Gtk::MessageType::QUESTION,
                  Gtk::ButtonsType::NONE, /*modal=*/true) {
        toplevels_.add(dialog_);
        dialog_.set_title(alert.message);
        if (!alert.informativeText.empty()) {
            dialog_.set_secondary_text(alert.informativeText);
        }
        for (std::size_t index = 0; index < buttons_.size(); ++index) {
            // As it is: an underscore in a title marks no mnemonic.
            dialog_.add_action_widget(*Gtk::make_managed<Gtk::Button>(buttons_[index]),
                                      static_cast<int>(index));
        }
        dialog_.set_default_response(0);
        dialog_.signal_response().connect([this](int response) { answer(response); });
        dialog_.present();
    }
    ~Dialog() { toplevels_.remove(dialog_); }
    Dialog(const Dialog&) = delete;
    Dialog& operator=(const Dialog&) = delete;

  private:
    void answer(int response) {
        if (const auto answered = std::exchange(answered_, {})) {
            answered(static_cast<std::uint32_t>(response < 0 ? buttons_.size() - 1
                                                             : static_cast<std::size_t>(response)));
        }
    }

    Toplevels& toplevels_;
    std::vector<std::string> buttons_;
    std::function<void(std::uint32_t)> answered_;
    Gtk::MessageDialog dialog_;
};

AlertDialogs::AlertDialogs(Toplevels& toplevels)
    : toplevels_(toplevels) {}

AlertDialogs::~AlertDialogs() = default;

void AlertDialogs::show(std::uint64_t id, const Alert& alert,
                        std::function<void(std::uint32_t)> answered) {
    dialogs_[id] = std::make_unique<Dialog>(
        toplevels_, alert, [this, id, answered = std::move(answered)](std::uint32_t answer) {
            answered(answer);
            // Later, when the toolkit is done with the button.
            Glib::signal_idle().connect_once([this, id] { close(id); });
        });
}

void AlertDialogs::close(std::uint64_t id) {
    dialogs_.erase(id);
}

} // namespace platform::gtk
