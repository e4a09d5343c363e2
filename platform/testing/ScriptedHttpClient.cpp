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
                        [completion = std::move(completion), result = std::move(answer->result)] {
                            completion(result);
                        });
}

} // namespace platform::testing
