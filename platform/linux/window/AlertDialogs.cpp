#include "platform/linux/window/AlertDialogs.h"

#include <glibmm/main.h>

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

void AlertDialogs::show(std::uint64_t id, const Alert& alert,
                        std::function<void(std::uint32_t)> answered) {
    const std::vector<std::string> buttons = buttonsOf(alert);
    dialogs_[id] = std::make_unique<PanelWindow>(
        toplevels_,
        PanelWindow::Content{.title = alert.message,
                             .text = alert.informativeText,
                             .linkTitle = {},
                             .buttons = buttons,
                             .defaultButton = 0,
                             .closeAnswer = static_cast<std::uint32_t>(buttons.size() - 1),
                             .isAlert = true},
        [this, id, answered = std::move(answered)](std::uint32_t answer) {
            answered(answer);
            // Later, when the toolkit is done with the button.
            Glib::signal_idle().connect_once([this, id] { close(id); });
        },
        [] {});
}

} // namespace platform::gtk
