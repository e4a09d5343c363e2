// What the account service answers, and the credentials file that an earlier link left.
#include "fuzz/Fuzzing.h"
#include "mac/Tessel/Link/DeviceLinkTransport.h"
#include "mac/Tessel/State/Credentials.h"
#include "platform/Utf8.h"

#include <cmath>

using fuzzing::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = fuzzing::textOf(data, size);
    if (const auto start = tessel::decodeStartResponse(text)) {
        require(platform::isValidUtf8(start->code) && platform::isValidUtf8(start->pollToken),
                "a reply is text");
        require(!start->interval || std::isfinite(*start->interval), "an interval is a number");
    }
    if (const auto poll = tessel::decodePollResponse(text)) {
        require(platform::isValidUtf8(poll->status), "a status is text");
    }
    if (const auto credentials = tessel::decodeCredentials(text)) {
        const auto written = tessel::credentialsText(*credentials);
        require(written.has_value(), "what was read can be written");
        require(tessel::decodeCredentials(*written) == credentials, "and reads as the same");
    }
    return 0;
}
