// The clauses of the contract, in the order of docs/server.md, and the judgements about single
// observations, as pure functions.
#pragma once

#include "mac/Zorvane/ServerCheck.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zorvane {

// Every clause, none reached yet.
[[nodiscard]] std::vector<ClauseResult> allClauses();

struct Judgement {
    ClauseOutcome outcome = ClauseOutcome::held;
    std::string seen = {};

    bool operator==(const Judgement&) const = default;
};

// Of the last health reply of a launch with that nonce.
[[nodiscard]] Judgement judgeHealth(const std::optional<platform::HttpResult>& reply,
                                    const std::string& nonce);
// Of everything a server printed.
[[nodiscard]] Judgement judgeOutput(std::string_view output);
// Of the replies to the library client: absent when it did not ask.
[[nodiscard]] Judgement judgeModes(const std::optional<platform::HttpResult>& reply);
[[nodiscard]] Judgement judgeLibraries(const std::optional<platform::HttpResult>& reply);
[[nodiscard]] Judgement judgeTotals(const std::vector<platform::HttpResult>& replies);
// Of the replies to the account client.
[[nodiscard]] Judgement judgeLinkStatus(const std::optional<platform::HttpResult>& reply);
[[nodiscard]] Judgement judgeLinkStart(const std::optional<platform::HttpResult>& reply);
[[nodiscard]] Judgement judgePage(const std::optional<platform::HttpResult>& reply);

// The beginning of what a server sent or printed, fit for a terminal: UTF-8, no control characters.
[[nodiscard]] std::string excerpt(std::string_view text);

} // namespace zorvane
