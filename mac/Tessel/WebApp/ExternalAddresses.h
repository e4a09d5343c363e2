// Addresses that a page leads to and its window does not show: they go to the programs that the
// user has for them. However often pages ask, one address a second is opened, and three when each
// is a link that the user followed; the rest is dropped, which is logged once a minute at most.
// Main thread only; the facilities outlive it.
#pragma once

#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/WebWindow.h"
#include "platform/Workspace.h"

#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace tessel {

// In lower case; nothing when the text does not begin with a scheme (RFC 3986, section 3.1).
[[nodiscard]] std::optional<std::string> schemeOf(std::string_view url);

// Whether a web view has a way to show such an address; text without a scheme counts as shown.
[[nodiscard]] bool canBeShown(std::string_view url);

// Whether another program may get it: not what names a file of this computer or something inside
// the page.
[[nodiscard]] bool mayBeHandedOver(std::string_view url);

// The limit and what is left of it.
class ExternalAddresses {
  public:
    // How many addresses a second are opened, whoever led there.
    static constexpr std::size_t pagesPerSecond = 1;
    // How many when each is a link that the user followed.
    static constexpr std::size_t usersPerSecond = 3;

    // Opens nothing yet. The workspace opens, the clock tells when a second is over.
    ExternalAddresses(platform::Workspace& workspace, platform::Clock& clock, platform::Log& log);

    // Opens the address of this navigation, or drops it.
    void open(const platform::NavigationAction& action);

  private:
    void dropped(platform::SteadyTime now);

    platform::Workspace& workspace_;
    platform::Clock& clock_;
    platform::Log& log_;
    std::deque<platform::SteadyTime> openings_; // of the last second
    std::optional<platform::SteadyTime> logged_;
};

} // namespace tessel
