#include "ostrad/DeviceLinks.h"

#include "ostrad/LinkCode.h"

#include <algorithm>
#include <utility>

namespace ostrad {
namespace {

constexpr int kMostWrongTries = 5;
constexpr int kSecretLength = 43; // 256 bits of 62 letters and a bit
constexpr std::string_view kSecretLetters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

} // namespace

DeviceLinks::DeviceLinks(AccountLink::Now clock, AccountLink::Letter randomLetter)
    : now_(std::move(clock))
    , letter_(std::move(randomLetter)) {}

std::string DeviceLinks::secret() {
    std::string text;
    for (int i = 0; i < kSecretLength; ++i) {
        text += kSecretLetters[letter_(kSecretLetters.size())];
    }
    return text;
}

DeviceLinks::Started DeviceLinks::start(std::string name) {
    if (waiting_.size() >= mostWaiting) {
        waiting_.erase(waiting_.begin());
    }
    std::string code = newLinkCode(letter_);
    while (isWaitingFor(code)) {
        code = newLinkCode(letter_);
    }
    waiting_.push_back({.pollToken = secret(),
                        .code = std::move(code),
                        .name = std::move(name),
                        .startedAt = now_()});
    return {waiting_.back().code, waiting_.back().pollToken, codeLife};
}

DeviceLinks::Polled DeviceLinks::poll(std::string_view pollToken) {
    const auto found = std::ranges::find(waiting_, pollToken, &Waiting::pollToken);
    if (found == waiting_.end()) {
        return {};
    }
    Polled polled{.status = found->status};
    if (polled.status == Status::pending) {
        if (now_() - found->startedAt < codeLife) {
            return polled;
        }
        polled.status = Status::expired;
    }
    if (polled.status == Status::approved) {
        polled.token = secret();
        polled.tokenName = found->name;
    }
    waiting_.erase(found);
    return polled;
}

bool DeviceLinks::waitsFor(const Waiting& link, std::string_view code) const {
    return link.status == Status::pending && now_() - link.startedAt < codeLife &&
           sameLinkCode(link.code, code);
}

bool DeviceLinks::isWaitingFor(std::string_view code) const {
    return std::ranges::any_of(waiting_, [&](const Waiting& link) { return waitsFor(link, code); });
}

bool DeviceLinks::settle(std::string_view code, Status status) {
    const auto found =
        std::ranges::find_if(waiting_, [&](const Waiting& link) { return waitsFor(link, code); });
    if (found == waiting_.end()) {
        return false;
    }
    found->status = status;
    return true;
}

bool DeviceLinks::approve(std::string_view code) {
    return settle(code, Status::approved);
}

bool DeviceLinks::deny(std::string_view code) {
    return settle(code, Status::denied);
}

void DeviceLinks::wrongCode() {
    for (Waiting& link : waiting_) {
        if (link.status == Status::pending && ++link.wrongTries >= kMostWrongTries) {
            link.status = Status::denied;
        }
    }
}

std::string DeviceLinks::allowSession() {
    if (sessions_.size() >= mostSessions) {
        sessions_.erase(sessions_.begin());
    }
    sessions_.push_back(secret());
    return sessions_.back();
}

bool DeviceLinks::isAllowed(std::string_view session) const {
    return std::ranges::find(sessions_, session) != sessions_.end();
}

std::optional<std::string> DeviceLinks::mint(std::string_view session) {
    return isAllowed(session) ? std::optional(secret()) : std::nullopt;
}

} // namespace ostrad
