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
    const bool isGood = answer->result && answer->result->status / 100 == 2;
    for (std::size_t piece = 1; request.bodySink && isGood && piece < answer->pieces; ++piece) {
        auto& body = answer->result->body;
        const auto size = body.size() / (answer->pieces - piece + 1);
        scheduler_.schedule(answer->after * piece, false,
                            [sink = request.bodySink, text = body.substr(0, size)] { sink(text); });
        body.erase(0, size);
    }
    scheduler_.schedule(answer->after * answer->pieces, false,
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
