#include "platform/testing/ScriptedHttpClient.h"

#include <utility>

namespace platform::testing {

void ScriptedHttpClient::send(HttpRequest request, std::function<void(HttpResult)> completion) {
    requests.push_back(request);
    std::optional<Answer> answer =
        script ? script(request)
               : Answer{std::unexpected(HttpError{HttpError::Kind::cannotConnect, "refused"})};
    if (!answer || answer->after > request.timeout) {
        answer = Answer{std::unexpected(HttpError{HttpError::Kind::timedOut, "timed out"}),
                        request.timeout};
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
