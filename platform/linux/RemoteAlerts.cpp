#include "platform/linux/RemoteAlerts.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace platform::desktop {

struct RemoteAlerts::Question {
    const Alert& alert;
    std::uint64_t id;
    Question* outer;
    bool asked = false;
    // Shared with the answer, which may come when nobody waits any more.
    std::shared_ptr<std::optional<std::size_t>> answer =
        std::make_shared<std::optional<std::size_t>>();

    [[nodiscard]] std::size_t last() const {
        return alert.buttons.empty() ? 0 : alert.buttons.size() - 1;
    }

    void ask(WindowHost& host) {
        asked = true;
        host.ask<std::uint32_t>(
            "ShowAlert",
            [answer = answer, last = last()](std::optional<std::tuple<std::uint32_t>> reply) {
                *answer = reply ? std::min<std::size_t>(std::get<0>(*reply), last) : last;
            },
            id, alert.message, alert.informativeText, alert.buttons);
        host.watch();
    }
};

RemoteAlerts::RemoteAlerts(WindowHost& host, LinuxApplication& application)
    : host_(host)
    , application_(application) {
    host_.add(*this);
}

std::size_t RemoteAlerts::runModal(const Alert& alert) {
    const LinuxApplication::ModalScope modal(application_);
    Question question{.alert = alert, .id = host_.newId(), .outer = waiting_};
    waiting_ = &question;
    if (host_.isRunning()) {
        question.ask(host_);
    } else {
        host_.require();
    }
    while (!*question.answer && !modal.isOver()) {
        g_main_context_iteration(nullptr, TRUE);
    }
    waiting_ = question.outer;
    if (!*question.answer) {
        host_.tell("CloseAlert", question.id);
    }
    return question.answer->value_or(question.last());
}

// One that was shown already has been answered by the death of the program that showed it.
void RemoteAlerts::sayAgain() {
    for (Question* question = waiting_; question != nullptr; question = question->outer) {
        if (!question->asked) {
            question->ask(host_);
        }
    }
}

void RemoteAlerts::gaveUp() {
    for (Question* question = waiting_; question != nullptr; question = question->outer) {
        *question->answer = question->last();
    }
}

} // namespace platform::desktop
