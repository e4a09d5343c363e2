#include "ostrad/AccountLink.h"

#include "ostrad/LinkCode.h"

#include <random>

namespace ostrad {

namespace {

using namespace std::chrono_literals;

constexpr auto kCodeLife = 10min;
constexpr int kMostWrongTries = 5;
constexpr std::string_view kLinkedKey = "account.linked";

} // namespace

AccountLink::AccountLink(Catalogue& store, Now clock, Letter randomLetter)
    : catalogue(store)
    , now(std::move(clock))
    , letter(std::move(randomLetter)) {}

bool AccountLink::isLinked() {
    return catalogue.setting(kLinkedKey).has_value();
}

void AccountLink::forgetWhatIsOver() {
    if (pending && now() - pending->startedAt >= kCodeLife) {
        pending.reset();
    }
}

std::optional<std::string> AccountLink::pendingCode() {
    forgetWhatIsOver();
    return pending ? std::optional(pending->code) : std::nullopt;
}

std::string AccountLink::start() {
    forgetWhatIsOver();
    if (pending && now() - pending->startedAt <= kCodeLife / 2) {
        return pending->code;
    }
    pending = Pending{.code = newLinkCode(letter), .startedAt = now()};
    return pending->code;
}

AccountLink::Outcome AccountLink::check(std::string_view code) {
    forgetWhatIsOver();
    if (!pending) {
        return Outcome::nothingPending;
    }
    if (sameLinkCode(code, pending->code)) {
        pending.reset();
        return Outcome::done;
    }
    if (++pending->wrongTries >= kMostWrongTries) {
        pending.reset();
    }
    return Outcome::wrongCode;
}

AccountLink::Outcome AccountLink::approve(std::string_view code) {
    const Outcome outcome = check(code);
    if (outcome == Outcome::done) {
        catalogue.setSetting(kLinkedKey, "1");
    }
    return outcome;
}

AccountLink::Outcome AccountLink::deny(std::string_view code) {
    return check(code);
}

void AccountLink::unlink() {
    pending.reset();
    catalogue.removeSetting(kLinkedKey);
}

std::size_t systemRandomBelow(std::size_t below) {
    static std::random_device device;
    return std::uniform_int_distribution<std::size_t>(0, below - 1)(device);
}

} // namespace ostrad
