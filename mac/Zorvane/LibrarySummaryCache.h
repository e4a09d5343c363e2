// The last library summary of the running server, and when to ask for a new one: one request for a
// server at a time, none while the last answer is younger than ten seconds unless forced, and an
// answer that arrives after the server has moved is thrown away. Owned by the application
// delegate; main thread only. The facilities outlive it.
#pragma once

#include "mac/OstraCore/LibrarySummary.h"
#include "mac/OstraCore/ServerUrl.h"
#include "platform/Clock.h"
#include "platform/HttpClient.h"
#include "platform/Queues.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace zorvane {

class LibrarySummaryCache : public std::enable_shared_from_this<LibrarySummaryCache> {
  public:
    static constexpr std::chrono::seconds freshness{10};

    struct Facilities {
        platform::MainQueue& mainQueue;
        platform::BackgroundQueues& backgroundQueues;
        platform::Clock& clock;
        platform::HttpClient& http;
    };

    // The function tells the server's address of that moment, if it runs.
    LibrarySummaryCache(const Facilities& facilities,
                        std::function<std::optional<ostra::Url>()> serverUrl);

    // Called after every answer for the current server, a failed one included.
    std::function<void()> onAnswer;

    // Asks the server unless that is not needed; without a server, forgets what is known.
    void refresh(bool force);
    // Forgets the summary. A request under way stays under way.
    void clear();

    // The summary, while it is the current server's.
    [[nodiscard]] std::optional<ostra::LibrarySummary> current() const;
    [[nodiscard]] bool fetchInFlight() const { return librarySummaryFetchInFlight_; }

  private:
    void received(const ostra::Url& base, std::optional<ostra::LibrarySummary> summary);

    Facilities facilities_;
    std::function<std::optional<ostra::Url>()> serverUrl_;
    std::optional<ostra::LibrarySummary> librarySummary_;
    std::optional<ostra::Url> librarySummaryBase_; // fetched or being fetched from here
    std::optional<platform::SteadyTime> librarySummaryFetchedAt_;
    bool librarySummaryFetchInFlight_ = false;
};

} // namespace zorvane
