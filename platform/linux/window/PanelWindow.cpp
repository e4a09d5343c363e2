#include "platform/linux/window/PanelWindow.h"

#include "platform/linux/window/ApplicationId.h"
#include "platform/linux/window/Present.h"

#include <glibmm/main.h>
#include <gtkmm/eventcontrollerkey.h>
#include <gtkmm/image.h>
#include <gtkmm/linkbutton.h>
#include <gtkmm/windowhandle.h>

#include <utility>

namespace platform::gtk {
namespace {

constexpr int panelWidth = 460;
constexpr int margin = 18;
constexpr int iconPixels = 64;
constexpr unsigned pulseMilliseconds = 100;

Gtk::Label& makeLabel(const std::string& text, const char* style) {
    auto& label = *Gtk::make_managed<Gtk::Label>(text);
    label.set_wrap(true);
    label.set_max_width_chars(56);
    label.set_xalign(0);
    if (style != nullptr) {
        label.add_css_class(style);
    }
    return label;
}

} // namespace

PanelWindow::PanelWindow(Toplevels& toplevels, Content content,
                         std::function<void(std::uint32_t)> answered,
                         std::function<void()> linkFollowed)
    : toplevels_(toplevels)
    , content_(std::move(content))
    , answered_(std::move(answered))
    , linkFollowed_(std::move(linkFollowed))
    , box_(Gtk::Orientation::VERTICAL, margin * 2 / 3) {
    toplevels_.add(window_);
    window_.set_title(content_.title);
    window_.set_resizable(false);
    window_.set_default_size(panelWidth, -1);
    window_.set_deletable(!content_.buttons.empty());
    window_.signal_close_request().connect(
        [this] {
            dismiss();
            return true;
        },
        false);
    if (content_.isAlert) {
        becomeAnAlert();
    }
    addContent();
    listenForEscape();
    gtk::present(window_, content_.token);
}

PanelWindow::~PanelWindow() {
    pulse_.disconnect();
    toplevels_.remove(window_);
}

void PanelWindow::setProgress(const std::string& text, std::optional<double> fraction) {
    progressText_.set_text(text);
    if (fraction) {
        pulse_.disconnect();
        progress_.set_fraction(*fraction);
    }
}

// The title stays what window lists show; a bar that can be dragged stands where it would be drawn.
void PanelWindow::becomeAnAlert() {
    window_.set_modal(true);
    auto& handle = *Gtk::make_managed<Gtk::WindowHandle>();
    handle.set_size_request(-1, margin);
    window_.set_titlebar(handle);
}

void PanelWindow::addText(Gtk::Box& box) {
    box.append(makeLabel(content_.title, "title-4"));
    if (!content_.text.empty()) {
        box.append(makeLabel(content_.text, nullptr));
    }
}

void PanelWindow::addContent() {
    box_.set_margin(margin);
    if (content_.isAlert) {
        auto& row = *Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, margin);
        auto& icon = *Gtk::make_managed<Gtk::Image>();
        icon.set_from_icon_name(applicationId());
        icon.set_pixel_size(iconPixels);
        icon.set_valign(Gtk::Align::START);
        auto& text = *Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL, margin / 3);
        addText(text);
        row.append(icon);
        row.append(text);
        box_.append(row);
    } else {
        addText(box_);
    }
    if (!content_.linkTitle.empty()) {
        auto& link = *Gtk::make_managed<Gtk::LinkButton>("about:blank", content_.linkTitle);
        link.set_halign(Gtk::Align::START);
        link.set_has_tooltip(false);
        link.signal_activate_link().connect(
            [this] {
                linkFollowed_();
                return true;
            },
            false);
        box_.append(link);
    }
    if (content_.showsProgress) {
        addProgress();
    }
    addButtons();
    window_.set_child(box_);
    if (default_ != nullptr) {
        window_.set_default_widget(*default_);
        default_->grab_focus();
    }
}

void PanelWindow::addProgress() {
    box_.append(progress_);
    progressText_.set_xalign(0);
    progressText_.add_css_class("dim-label");
    box_.append(progressText_);
    pulse_ = Glib::signal_timeout().connect(
        [this] {
            progress_.pulse();
            return true;
        },
        pulseMilliseconds);
}

// The first button stands last, at the right, as GNOME has it; those of a question share the width.
void PanelWindow::addButtons() {
    auto& row = *Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, margin / 3);
    row.set_homogeneous(content_.isAlert);
    row.set_halign(content_.isAlert ? Gtk::Align::FILL : Gtk::Align::END);
    for (std::size_t index = content_.buttons.size(); index-- > 0;) {
        auto& button = *Gtk::make_managed<Gtk::Button>(content_.buttons[index]);
        button.signal_clicked().connect(
            [this, index] { answer(static_cast<std::uint32_t>(index)); });
        row.append(button);
        if (index == 0) {
            button.add_css_class("suggested-action");
        }
        if (index == content_.defaultButton) {
            default_ = &button;
        }
    }
    if (!content_.buttons.empty()) {
        box_.append(row);
    }
}

void PanelWindow::listenForEscape() {
    const auto keys = Gtk::EventControllerKey::create();
    keys->signal_key_pressed().connect(
        [this](guint key, guint /*code*/, Gdk::ModifierType /*state*/) {
            if (key == GDK_KEY_Escape) {
                dismiss();
            }
            return key == GDK_KEY_Escape;
        },
        false);
    window_.add_controller(keys);
}

void PanelWindow::dismiss() {
    if (!content_.buttons.empty()) {
        answer(content_.closeAnswer);
    }
}

void PanelWindow::answer(std::uint32_t index) {
    window_.set_visible(false);
    if (const auto answered = std::exchange(answered_, {})) {
        answered(index);
    }
}

} // namespace platform::gtk
