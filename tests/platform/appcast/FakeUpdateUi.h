// The update panel and its notice as a test sees them: what is shown, and answers on the user's
// behalf. For tests; one thread only.
#pragma once

#include "platform/appcast/UpdateNotice.h"
#include "platform/appcast/UpdateUi.h"

#include <stdexcept>
#include <utility>
#include <vector>

class FakeUpdateUi final : public platform::appcast::UpdateUi {
  public:
    using Panel = platform::appcast::UpdatePanel;

    void show(const Panel& panel, std::function<void(std::size_t)> answered) override {
        shown = panel;
        history.push_back(panel.title);
        answered_ = std::move(answered);
    }
    void setProgress(const std::string& text, std::optional<double> fraction) override {
        progress.emplace_back(text, fraction.value_or(-1));
    }
    void bringToFront() override { ++broughtToFront; }
    void close() override { shown.reset(); }

    // The user presses a button, or closes the window.
    void press(const std::string& button) {
        for (std::size_t i = 0; shown && i < shown->buttons.size(); ++i) {
            if (shown->buttons[i] == button) {
                answer(i);
                return;
            }
        }
        throw std::logic_error("no button " + button);
    }
    void dismiss() { answer(shown.value().closeAnswer); }

    std::optional<Panel> shown;
    std::vector<std::string> history; // titles
    std::vector<std::pair<std::string, double>> progress;
    int broughtToFront = 0;

  private:
    void answer(std::size_t index) {
        shown.reset();
        std::exchange(answered_, {})(index);
    }

    std::function<void(std::size_t)> answered_;
};

class FakeUpdateNotice final : public platform::appcast::UpdateNotice {
  public:
    void show(const platform::appcast::UpdateNotification& notification,
              std::function<void()> opened) override {
        shown = notification;
        ++shows;
        opened_ = std::move(opened);
    }
    void withdraw() override { shown.reset(); }

    // The user follows it.
    void open() {
        shown.reset();
        std::exchange(opened_, {})();
    }

    std::optional<platform::appcast::UpdateNotification> shown;
    int shows = 0;

  private:
    std::function<void()> opened_;
};
