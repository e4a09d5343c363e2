#include "platform/linux/RemoteUpdateUi.h"

#include <utility>

namespace platform::desktop {

RemoteUpdateUi::RemoteUpdateUi(WindowHost& host, std::function<void(const std::string&)> openUrl)
    : host_(host)
    , openUrl_(std::move(openUrl)) {
    host_.calls().on("PanelAnswered", this, &RemoteUpdateUi::panelAnswered);
    host_.calls().on("PanelLinkFollowed", this, &RemoteUpdateUi::panelLinkFollowed);
    host_.add(*this);
}

void RemoteUpdateUi::show(const appcast::UpdatePanel& panel,
                          std::function<void(std::size_t)> answered) {
    shown_ = Shown{.id = host_.newId(), .panel = panel, .answered = std::move(answered)};
    if (host_.isRunning()) {
        sayAgain();
    } else {
        isSaid_ = false;
        host_.require();
    }
}

void RemoteUpdateUi::sayAgain() {
    if (!shown_) {
        return;
    }
    isSaid_ = true;
    const appcast::UpdatePanel& panel = shown_->panel;
    host_.tell("ShowPanel", shown_->id, panel.title, panel.text,
               panel.link ? panel.link->title : std::string(), panel.buttons,
               static_cast<std::uint32_t>(panel.defaultButton),
               static_cast<std::uint32_t>(panel.closeAnswer), panel.showsProgress,
               std::exchange(token_, {}));
    if (!shown_->progressText.empty() || shown_->fraction) {
        host_.tell("SetPanelProgress", shown_->id, shown_->progressText,
                   shown_->fraction.value_or(-1));
    }
    host_.watch();
}

void RemoteUpdateUi::programDied() {
    if (shown_ && std::exchange(isSaid_, false) && !shown_->panel.buttons.empty()) {
        answer(shown_->panel.closeAnswer);
    }
}

void RemoteUpdateUi::setProgress(const std::string& text, std::optional<double> fraction) {
    if (!shown_) {
        return;
    }
    shown_->progressText = text;
    shown_->fraction = fraction;
    host_.tell("SetPanelProgress", shown_->id, text, fraction.value_or(-1));
}

void RemoteUpdateUi::bringToFront() {
    if (shown_) {
        host_.tell("RaisePanel", shown_->id);
    }
}

void RemoteUpdateUi::close() {
    if (shown_) {
        host_.tell("ClosePanel", shown_->id);
        shown_.reset();
    }
}

// The answer may show the next panel.
void RemoteUpdateUi::answer(std::size_t button) {
    const auto answered = std::move(shown_->answered);
    close();
    if (answered) {
        answered(button);
    }
}

void RemoteUpdateUi::panelAnswered(std::uint64_t id, std::uint32_t button) {
    if (shown_ && shown_->id == id && button < shown_->panel.buttons.size()) {
        answer(button);
    }
}

void RemoteUpdateUi::panelLinkFollowed(std::uint64_t id) {
    if (shown_ && shown_->id == id && shown_->panel.link) {
        openUrl_(shown_->panel.link->url);
    }
}

} // namespace platform::desktop
