#include "platform/testing/ScriptedHttpClient.h"

#include <algorithm>
#include <utility>

namespace platform::testing {

void ScriptedHttpClient::send(HttpRequest request, std::function<void(HttpResult)> completion) {
    requests.push_back(request);
    std::optional<Answer> answer =
        script ? script(request)
               : Answer{std::unexpected(HttpError{HttpError::Kind::cannotConnect, "refused"})};
    const auto limit = std::min(request.timeout, request.idleTimeout.value_or(request.timeout));
    if (!answer || answer->after > limit) {
        answer = Answer{std::unexpected(HttpError{HttpError::Kind::timedOut, "timed out"}), limit};
    }
    scheduler_.schedule(answer->after, false,
                        [completion = std::move(completion), sink = std::move(request.bodySink),
                         result = std::move(answer->result)]() mutable {
                            if (sink && result && result->status / 100 == 2 &&
                                !sink(std::exchange(result->body, {}))) {
                                result = std::unexpected(HttpError{HttpError::Kind::cancelled, ""});
                            }
                            completion(std::move(result));
                        });
}

} // namespace platform::testing
