#include "platform/linux/GtkAlerts.h"

#include <glibmm/main.h>
#include <gtkmm/button.h>
#include <gtkmm/messagedialog.h>

#include <optional>

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

class Dialog {
  public:
    Dialog(GtkApplication& application, const Alert& alert)
        : buttons_(buttonsOf(alert))
        , dialog_(alert.message, /*use_markup=*/false, Gtk::MessageType::QUESTION,
                  Gtk::ButtonsType::NONE, /*modal=*/true) {
        dialog_.set_application(application.toolkit());
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
        dialog_.signal_response().connect([this](int response) { answered(response); });
    }

    void show() { dialog_.present(); }
    [[nodiscard]] const std::optional<std::size_t>& answer() const { return answer_; }
    [[nodiscard]] std::size_t last() const { return buttons_.size() - 1; }

  private:
    void answered(int response) {
        if (!answer_) {
            answer_ = response < 0 ? last() : static_cast<std::size_t>(response);
        }
    }

    std::vector<std::string> buttons_;
    Gtk::MessageDialog dialog_;
    std::optional<std::size_t> answer_;
};

} // namespace

std::size_t GtkAlerts::runModal(const Alert& alert) {
    const GtkApplication::ModalScope modal(application_);
    Dialog dialog(application_, alert);
    dialog.show();
    while (!dialog.answer() && !modal.isOver()) {
        Glib::MainContext::get_default()->iteration(true);
    }
    return dialog.answer().value_or(dialog.last());
}

} // namespace platform::gtk
