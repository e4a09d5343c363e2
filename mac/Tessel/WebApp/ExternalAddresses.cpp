#include "mac/Tessel/WebApp/ExternalAddresses.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace tessel {
namespace {

constexpr std::chrono::seconds openingsCountFor{1};
constexpr std::chrono::minutes logPause{1};

bool isLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool continuesScheme(char character) {
    return isLetter(character) || (character >= '0' && character <= '9') || character == '+' ||
           character == '-' || character == '.';
}

char lowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
}

constexpr std::array<std::string_view, 6> shownSchemes{"http", "https", "about",
                                                       "data", "blob",  "javascript"};
// Beside those of above.
constexpr std::array<std::string_view, 3> ownSchemes{"file", "filesystem", "view-source"};

bool isOneOf(const auto& schemes, std::string_view scheme) {
    return std::ranges::find(schemes, scheme) != schemes.end();
}

} // namespace

std::optional<std::string> schemeOf(std::string_view url) {
    const std::string_view scheme = url.substr(0, url.find(':'));
    if (scheme.size() == url.size() || scheme.empty() || !isLetter(scheme.front()) ||
        !std::ranges::all_of(scheme, &continuesScheme)) {
        return std::nullopt;
    }
    std::string lower(scheme);
    std::ranges::transform(lower, lower.begin(), &lowerCase);
    return lower;
}

bool canBeShown(std::string_view url) {
    const auto scheme = schemeOf(url);
    return !scheme || isOneOf(shownSchemes, *scheme);
}

bool mayBeHandedOver(std::string_view url) {
    const auto scheme = schemeOf(url);
    if (!scheme) {
        return false;
    }
    return *scheme == "http" || *scheme == "https" ||
           (!isOneOf(shownSchemes, *scheme) && !isOneOf(ownSchemes, *scheme));
}

ExternalAddresses::ExternalAddresses(platform::Workspace& workspace, platform::Clock& clock,
                                     platform::Log& log)
    : workspace_(workspace)
    , clock_(clock)
    , log_(log) {}

void ExternalAddresses::open(const platform::NavigationAction& action) {
    const platform::SteadyTime now = clock_.now();
    std::erase_if(openings_, [&](auto moment) { return now - moment >= openingsCountFor; });
    const bool byUser = action.isLinkActivated && action.isUserGesture;
    if (openings_.size() >= (byUser ? usersPerSecond : pagesPerSecond)) {
        dropped(now);
        return;
    }
    openings_.push_back(now);
    workspace_.openUrl(action.url);
}

void ExternalAddresses::dropped(platform::SteadyTime now) {
    if (!logged_ || now - *logged_ >= logPause) {
        logged_ = now;
        log_.write("a page leads elsewhere more than once a second; the rest is dropped");
    }
}

} // namespace tessel
