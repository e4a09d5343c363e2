// The HTTP client and background queues of the application, with calls that wait for the answer.
// Each call gives up after a minute by a failed future, never silently.
#pragma once

#include "mac/OstraCore/AccountLink.h"
#include "mac/OstraCore/LibrarySummary.h"
#include "platform/posix/CurlHttpClient.h"
#include "tests/support/fasttime/FastTime.h"

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace test_support {

class RealSession {
  public:
    template <typename Record>
    using Completion = std::function<void(std::optional<Record>)>;
    template <typename Record>
    using Answer = std::future<std::optional<Record>>;

    Answer<ostra::AccountStatus> startStatus(const ostra::Url& base) {
        return begin<ostra::AccountStatus>([&](auto completion) {
            ostra::AccountLink::fetchStatus(base, *http, std::move(completion));
        });
    }
    Answer<ostra::LinkStart> startLink(const ostra::Url& base) {
        return begin<ostra::LinkStart>([&](auto completion) {
            ostra::AccountLink::startLink(base, *http, std::move(completion));
        });
    }
    Answer<ostra::LibrarySummary> startSummary(const ostra::Url& base) {
        return begin<ostra::LibrarySummary>([&](auto completion) {
            ostra::LibrarySummaryClient::fetch(base, *http, time.backgroundQueues(),
                                               std::move(completion));
        });
    }
    template <typename Record>
    static std::optional<Record> wait(Answer<Record> answer) {
        if (answer.wait_for(std::chrono::minutes(1)) != std::future_status::ready) {
            throw std::runtime_error("no answer within a minute");
        }
        return answer.get();
    }

    FastTime time{1};
    std::unique_ptr<platform::HttpClient> http = std::make_unique<platform::CurlHttpClient>();

  private:
    template <typename Record>
    static Answer<Record> begin(const std::function<void(Completion<Record>)>& start) {
        auto promise = std::make_shared<std::promise<std::optional<Record>>>();
        auto answer = promise->get_future();
        start([promise](std::optional<Record> record) {
            promise->set_value(std::move(record)); // a second completion would throw
        });
        return answer;
    }
};

} // namespace test_support
