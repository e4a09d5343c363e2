// Links this installation to an online account with a device code: asks the account service for a
// code, opens its approval page in the user's browser, polls until the user has approved, the code
// has expired or the attempt was abandoned, and saves the issued token as Credentials. Without a
// user interface: progress arrives through the three callbacks and state(). Polls are at least one
// second apart; a failed one is not the end, only the expiry is.
//
// Main thread only, callbacks included; the public operations check this and trap. Requests run on
// a serial queue of the link's own, and nothing sleeps there: a pause between polls is a delayed
// continuation, so a new attempt never waits for an old one's pause. Whatever began before the last
// begin() or cancel() publishes nothing any more; credentials that it saved stay saved.
//
// The facilities, those of the store included, outlive the link and no more: once its destructor
// has returned, nothing of a link uses them, even when it was dropped in the middle of a request.
// The request is given up then; a transport of the caller's own is told so (abandon()).
#pragma once

#include "mac/Tessel/Link/DeviceLinkTransport.h"
#include "mac/Tessel/State/Credentials.h"
#include "mac/Tessel/State/StateStore.h"
#include "mac/Tessel/Values/Url.h"
#include "platform/Clock.h"
#include "platform/Host.h"
#include "platform/HttpClient.h"
#include "platform/Queues.h"
#include "platform/Workspace.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace tessel {

class DeviceLinkLifeline;
class Generation;

class DeviceLink : public std::enable_shared_from_this<DeviceLink> {
  public:
    // A code waits for the user's approval.
    struct Waiting {
        // What to confirm, until when, and where.
        std::string code;
        Timestamp expiry = {};
        Url verifyUrl;
        bool operator==(const Waiting&) const = default;
    };
    // The last attempt ended without a link.
    struct Failed {
        std::string message; // fit for a user
        bool operator==(const Failed&) const = default;
    };
    // No attempt: before the first one, after a success, and after cancel().
    struct Idle {
        bool operator==(const Idle&) const = default;
    };
    // The service was asked for a code.
    struct Starting {
        bool operator==(const Starting&) const = default;
    };
    // Idle at first.
    using State = std::variant<Waiting, Failed, Idle, Starting>;

    // Called once for each attempt, and once for each page, on the main thread.
    using MakeTransport = std::function<std::shared_ptr<DeviceLinkTransport>(const Url& origin)>;
    using OpenURL = std::function<void(const Url&)>;

    // What outlives the link.
    struct Facilities {
        // Where callbacks run, where requests run, and what else is asked.
        platform::MainQueue& mainQueue;
        platform::BackgroundQueues& backgroundQueues;
        platform::Clock& clock;
        platform::Host& host;
        platform::HttpClient& http;     // of the transport that is made by default
        platform::Workspace& workspace; // opens pages by default
    };

    // The name is the host application's, for people. By default the transport is an
    // HTTPDeviceLinkTransport without a user agent.
    [[nodiscard]] static std::shared_ptr<DeviceLink>
    create(const Facilities& facilities, std::shared_ptr<const StateStore> store,
           std::string appName, MakeTransport makeTransport = {}, OpenURL openURL = {});
    // Abandons the current attempt; waits for no more than a file that is being written.
    ~DeviceLink();
    DeviceLink(const DeviceLink&) = delete;
    DeviceLink& operator=(const DeviceLink&) = delete;

    // After every change of state.
    std::function<void()> onChange;
    // Once for each link that was made, after its credentials were saved.
    std::function<void(const Credentials&)> onLinked;
    // One line for a status display.
    std::function<void(const std::string&)> onActivity;

    // Where the attempt is; linking means that it has begun and not ended.
    [[nodiscard]] const State& state() const { return state_; }
    [[nodiscard]] bool isLinking() const;

    // Abandons the current attempt and starts a new one. Without a name the device is called after
    // the application and the computer.
    void begin(const Url& serverOrigin, const std::optional<std::string>& deviceName = {});
    void cancel();
    // Opens the approval page again while a code waits for it.
    void reopenApproval();

    // The same as the function of that name: absent when the page must not be opened.
    [[nodiscard]] static std::optional<Url> validatedVerifyURL(std::string_view verifyUrl,
                                                               const Url& serverOrigin);

  private:
    friend class DeviceLinkAttempt;

    DeviceLink(const Facilities& facilities, std::shared_ptr<const StateStore> store,
               std::string appName, MakeTransport makeTransport, OpenURL openURL);

    void setState(State state);
    void report(const std::string& line);
    void showCode(const Waiting& waiting);
    void fail(const std::string& message);
    void finishLinked(const Credentials& credentials);

    Facilities facilities_;
    std::shared_ptr<const StateStore> store_;
    std::string appName_;
    MakeTransport makeTransport_;
    OpenURL openURL_;
    std::shared_ptr<platform::Queue> queue_;
    std::shared_ptr<Generation> generation_;
    std::shared_ptr<DeviceLinkLifeline> lifeline_;
    State state_ = Idle{};
};

} // namespace tessel
