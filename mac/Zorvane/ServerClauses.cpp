#include "mac/Zorvane/ServerClauses.h"

#include "mac/OstraCore/AccountLink.h"
#include "mac/OstraCore/LibraryReplies.h"
#include "mac/OstraCore/OutputLines.h"
#include "mac/Zorvane/HealthLoop.h"
#include "platform/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace zorvane {
namespace {

using platform::HttpResult;
using Reply = std::optional<HttpResult>;

const Judgement notOffered(ClauseOutcome::notOffered);

Judgement held(std::string seen = {}) {
    return {ClauseOutcome::held, std::move(seen)};
}
Judgement failed(std::string seen) {
    return {ClauseOutcome::failed, std::move(seen)};
}

// A server that does not know an address says so with one of these.
bool saysUnknown(const HttpResult& reply) {
    constexpr std::array<int, 4> unknown{404, 405, 410, 501};
    return reply && std::ranges::find(unknown, reply->status) != unknown.end();
}

std::string describe(const HttpResult& reply) {
    if (!reply) {
        return "no answer: " + excerpt(reply.error().message);
    }
    return reply->body.empty()
               ? fmt::format("status {}, empty body", reply->status)
               : fmt::format("status {}, body {}", reply->status, excerpt(reply->body));
}

template <typename Records>
Judgement judgeRecords(const Reply& reply, std::optional<Records> (*parse)(std::string_view),
                       std::string_view expected) {
    if (!reply || saysUnknown(*reply)) {
        return notOffered;
    }
    if (!*reply || (*reply)->status != 200) {
        return failed(describe(*reply));
    }
    const auto records = parse((*reply)->body);
    return records ? held(fmt::format("{} of them", records->size()))
                   : failed(fmt::format("not {}: {}", expected, excerpt((*reply)->body)));
}

} // namespace

std::vector<ClauseResult> allClauses() {
    using enum ClauseLevel;
    return {
        {"version", should, "-version prints a bare dotted version and ends with 0 within 3 s"},
        {"start", must, "starts with the supervisor's flags and environment and stays up"},
        {"health", must, "GET /api/health answers 200 with the launch's nonce within 40 tries"},
        {"steady", must, "answers each of 20 health requests with the nonce within 0.5 s"},
        {"loopback", must, "listens on the given loopback address and no other"},
        {"page", should, "GET / answers 200 with a page"},
        {"modes", may, "GET /api/modes lists modes with their entity types"},
        {"libraries", may, "GET /api/libraries lists libraries with their modes"},
        {"totals", may, "GET /api/entities says the total in X-Total-Count"},
        {"link-status", may, "GET /api/account/link/status says whether it is linked"},
        {"link-start", may, "GET /api/account/link/start gives a code and an address"},
        {"output", should, "prints lines of UTF-8, none longer than 16 KiB"},
        {"secret", should, "never prints the nonce"},
        {"files", must, "what it leaves in its folder is its owner's alone"},
        {"terminate", must, "ends within 6 s of SIGTERM"},
        {"gone", must, "leaves nothing behind that answers"},
        {"again", must, "starts again over the same data, with the new nonce"},
        {"killed", must, "starts again after it was killed"},
        {"port", should, "leaves its port free, so that the next launch gets it again"},
    };
}

Judgement judgeHealth(const Reply& reply, const std::string& nonce) {
    if (!reply) {
        return failed("nothing was asked");
    }
    if (isHealthyReply(*reply, nonce)) {
        return held();
    }
    if (!*reply || (*reply)->status != 200) {
        return failed(describe(*reply));
    }
    const std::string& body = (*reply)->body;
    if (!platform::isValidUtf8(body)) {
        return failed("the body is not UTF-8: " + excerpt(body));
    }
    if (body.contains(nonce)) {
        return failed("the nonce is there, but not as \"nonce\":\"...\" without blanks: " +
                      excerpt(body));
    }
    return failed((body.contains("nonce") ? "another nonce: " : "no nonce: ") + excerpt(body));
}

Judgement judgeOutput(std::string_view output) {
    // A last line without an end may have been cut anywhere.
    const std::string_view lines = output.substr(0, output.rfind('\n') + 1);
    if (!platform::isValidUtf8(lines)) {
        return failed("a line that is not UTF-8");
    }
    std::size_t cut = 0;
    std::size_t count = 0;
    ostra::OutputLines whole([&](std::span<const std::string_view> some) {
        count += some.size();
        cut +=
            static_cast<std::size_t>(std::ranges::count_if(some, [](const std::string_view line) {
                return line.ends_with(ostra::OutputLines::cutMark);
            }));
    });
    whole.append(output);
    whole.finish();
    return cut > 0 ? failed(fmt::format("{} lines longer than {} bytes", cut,
                                        ostra::OutputLines::maxLineBytes))
                   : held(fmt::format("{} lines", count));
}

Judgement judgeModes(const Reply& reply) {
    return judgeRecords(reply, &ostra::parseModes,
                        "an array of modes, each with \"id\", \"name\" and \"entityTypes\"");
}

Judgement judgeLibraries(const Reply& reply) {
    return judgeRecords(reply, &ostra::parseLibraries,
                        "an array of libraries, each with \"modeId\"");
}

Judgement judgeTotals(const std::vector<HttpResult>& replies) {
    if (std::ranges::all_of(replies, saysUnknown)) {
        return notOffered;
    }
    for (const HttpResult& reply : replies) {
        if (!reply || reply->status != 200) {
            return failed(describe(reply));
        }
        const auto field = reply->header("X-Total-Count");
        if (!field) {
            return failed("no X-Total-Count");
        }
        const auto total = ostra::parseTotal(*field);
        if (!total || *total < 0) {
            return failed("X-Total-Count: " + excerpt(*field));
        }
    }
    return held(fmt::format("{} types", replies.size()));
}

Judgement judgeLinkStatus(const Reply& reply) {
    if (reply && *reply && ostra::AccountLink::parseStatus((*reply)->body)) {
        return held();
    }
    if (!reply || saysUnknown(*reply)) {
        return notOffered;
    }
    return failed("no object with a boolean \"linked\": " + describe(*reply));
}

Judgement judgeLinkStart(const Reply& reply) {
    if (!reply || saysUnknown(*reply)) {
        return notOffered;
    }
    if (*reply && ostra::AccountLink::parseStart((*reply)->body)) {
        return held();
    }
    return failed("no \"code\" and \"verifyUrl\": " + describe(*reply));
}

Judgement judgePage(const Reply& reply) {
    if (reply && *reply && (*reply)->status == 200 && !(*reply)->body.empty()) {
        return held();
    }
    return failed(reply ? describe(*reply) : "nothing was asked");
}

std::string excerpt(std::string_view text) {
    constexpr std::size_t longest = 100;
    const std::string whole = platform::wellFormedUtf8(text.substr(0, 4 * longest));
    std::string shown(platform::prefixOfWholeCharacters(whole, longest));
    std::ranges::replace_if(
        shown,
        [](char letter) {
            const auto code = static_cast<unsigned char>(letter);
            return code < 0x20 || code == 0x7f;
        },
        ' ');
    return shown.size() < whole.size() || text.size() > 4 * longest ? shown + "…" : shown;
}

} // namespace zorvane
