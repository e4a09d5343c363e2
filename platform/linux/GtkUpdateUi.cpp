#include "platform/linux/GtkUpdateUi.h"

#include <glibmm/main.h>
#include <gtkmm/box.h>
#include <gtkmm/button.h>
#include <gtkmm/eventcontrollerkey.h>
#include <gtkmm/label.h>
#include <gtkmm/linkbutton.h>
#include <gtkmm/progressbar.h>
#include <gtkmm/window.h>

#include <utility>

namespace platform::gtk {
namespace {

constexpr int panelWidth = 460;
constexpr int margin = 18;
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

class GtkUpdateUi::PanelWindow : public sigc::trackable {
  public:
    PanelWindow(const appcast::UpdatePanel& panel, std::function<void(std::size_t)> answered,
                const std::function<void(const std::string&)>& openUrl)
        : panel_(panel)
        , answered_(std::move(answered)) {
        window_.set_title(panel.title);
        window_.set_resizable(false);
        window_.set_default_size(panelWidth, -1);
        window_.set_deletable(!panel.buttons.empty());
        window_.signal_close_request().connect(
            [this] {
                dismiss();
                return true;
            },
            false);
        addContent(openUrl);
        listenForEscape();
        window_.present();
    }
    PanelWindow(const PanelWindow&) = delete;
    PanelWindow& operator=(const PanelWindow&) = delete;
    ~PanelWindow() { pulse_.disconnect(); }

    void present() { window_.present(); }

    void setProgress(const std::string& text, std::optional<double> fraction) {
        progressText_.set_text(text);
        if (fraction) {
            pulse_.disconnect();
            progress_.set_fraction(*fraction);
        }
    }

  private:
    void addContent(const std::function<void(const std::string&)>& openUrl) {
        content_.set_margin(margin);
        content_.append(makeLabel(panel_.title, "title-4"));
        if (!panel_.text.empty()) {
            content_.append(makeLabel(panel_.text, nullptr));
        }
        if (panel_.link) {
            auto& link = *Gtk::make_managed<Gtk::LinkButton>(panel_.link->url, panel_.link->title);
            link.set_halign(Gtk::Align::START);
            link.signal_activate_link().connect(
                [openUrl, url = panel_.link->url] {
                    openUrl(url);
                    return true;
                },
                false);
            content_.append(link);
        }
        if (panel_.showsProgress) {
            addProgress();
        }
        addButtons();
        window_.set_child(content_);
        if (default_ != nullptr) {
            window_.set_default_widget(*default_);
            default_->grab_focus();
        }
    }

    void addProgress() {
        content_.append(progress_);
        progressText_.set_xalign(0);
        progressText_.add_css_class("dim-label");
        content_.append(progressText_);
        pulse_ = Glib::signal_timeout().connect(
            [this] {
                progress_.pulse();
                return true;
            },
            pulseMilliseconds);
    }

    // The default button stands last, at the right, as GNOME has it.
    void addButtons() {
        auto& row = *Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, margin / 3);
        row.set_halign(Gtk::Align::END);
        for (std::size_t index = panel_.buttons.size(); index-- > 0;) {
            auto& button = *Gtk::make_managed<Gtk::Button>(panel_.buttons[index]);
            button.signal_clicked().connect([this, index] { answer(index); });
            row.append(button);
            if (index == 0) {
                button.add_css_class("suggested-action");
                default_ = &button;
            }
        }
        if (!panel_.buttons.empty()) {
            content_.append(row);
        }
    }

    void listenForEscape() {
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

    void dismiss() {
        if (!panel_.buttons.empty()) {
            answer(panel_.closeAnswer);
        }
    }

    // Later, when the toolkit is done with the button: the answer may replace this window.
    void answer(std::size_t index) {
        window_.set_visible(false);
        if (answered_) {
            Glib::signal_idle().connect_once(sigc::track_obj(
                [answered = std::exchange(answered_, {}), index] { answered(index); }, *this));
        }
    }

    const appcast::UpdatePanel panel_;
    std::function<void(std::size_t)> answered_;
    Gtk::Window window_;
    Gtk::Box content_{Gtk::Orientation::VERTICAL, margin * 2 / 3};
    Gtk::ProgressBar progress_;
    Gtk::Label progressText_;
    Gtk::Button* default_ = nullptr;
    sigc::connection pulse_;
};

GtkUpdateUi::GtkUpdateUi(std::function<void(const std::string&)> openUrl)
    : openUrl_(std::move(openUrl)) {}

GtkUpdateUi::~GtkUpdateUi() = default;

void GtkUpdateUi::show(const appcast::UpdatePanel& panel,
                       std::function<void(std::size_t)> answered) {
    window_.reset();
    window_ = std::make_unique<PanelWindow>(panel, std::move(answered), openUrl_);
}

void GtkUpdateUi::setProgress(const std::string& text, std::optional<double> fraction) {
    if (window_) {
        window_->setProgress(text, fraction);
    }
}

void GtkUpdateUi::bringToFront() {
    if (window_) {
        window_->present();
    }
}

void GtkUpdateUi::close() {
    window_.reset();
}

} // namespace platform::gtk
