// HTTP whose answers a test writes. Every request is recorded; the script says what is answered
// and after how long, and a request's own time-out holds as it does in the real client. For tests;
// one thread only.
#pragma once

#include "platform/HttpClient.h"
#include "platform/testing/ManualScheduler.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace platform::testing {

class ScriptedHttpClient final : public HttpClient {
  public:
    struct Answer {
        HttpResult result;
        std::chrono::milliseconds after{0};
        // That a body with a sink arrives in, each `after` the one before.
        std::size_t pieces = 1;
    };
    // Nothing means that the server never answers.
    using Script = std::function<std::optional<Answer>(const HttpRequest&)>;

    explicit ScriptedHttpClient(ManualScheduler& scheduler)
        : scheduler_(scheduler) {}

    Script script; // without one, connections are refused
    std::vector<HttpRequest> requests;

    void send(HttpRequest request, std::function<void(HttpResult)> completion) override;

  private:
    ManualScheduler& scheduler_;
};

} // namespace platform::testing
