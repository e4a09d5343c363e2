#include "mac/Zorvane/ServerReportText.h"

#include "platform/Utf8.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace zorvane {
namespace {

namespace json = boost::json;

std::string_view nameOf(ClauseLevel level) {
    switch (level) {
    case ClauseLevel::must:
        return "must";
    case ClauseLevel::should:
        return "should";
    case ClauseLevel::may:
        return "may";
    }
    return {};
}

std::string_view nameOf(ClauseOutcome outcome) {
    switch (outcome) {
    case ClauseOutcome::held:
        return "held";
    case ClauseOutcome::failed:
        return "failed";
    case ClauseOutcome::notOffered:
        return "not offered";
    case ClauseOutcome::notReached:
        return "not reached";
    }
    return {};
}

json::string_view view(std::string_view text) {
    return {text.data(), text.size()};
}

} // namespace

std::string reportTable(const ServerReport& report) {
    std::string table;
    const auto out = std::back_inserter(table);
    for (const ClauseResult& clause : report.clauses) {
        fmt::format_to(out, "{:<12} {:<7} {:<12} {}\n", nameOf(clause.outcome),
                       nameOf(clause.level), clause.id, clause.text);
        if (!clause.seen.empty()) {
            fmt::format_to(out, "{:33} {}: {}\n", "",
                           clause.outcome == ClauseOutcome::failed ? "seen" : "here", clause.seen);
        }
    }
    const auto failed =
        std::ranges::count(report.clauses, ClauseOutcome::failed, &ClauseResult::outcome);
    fmt::format_to(out, "\n{}\n",
                   !report.passed() ? "The server does not keep the contract."
                   : failed == 0    ? "The server keeps the contract."
                                    : "The server keeps every must of the contract.");
    return table;
}

std::string reportJson(const ServerReport& report) {
    json::array clauses;
    for (const ClauseResult& clause : report.clauses) {
        clauses.push_back(json::object{{"id", view(clause.id)},
                                       {"level", view(nameOf(clause.level))},
                                       {"text", view(clause.text)},
                                       {"outcome", view(nameOf(clause.outcome))},
                                       {"seen", view(clause.seen)}});
    }
    const std::string executable = platform::wellFormedUtf8(report.executable.native());
    const json::object document{{"format", "server-check@1"},
                                {"executable", view(executable)},
                                {"passed", report.passed()},
                                {"clauses", std::move(clauses)}};
    return json::serialize(document) + '\n';
}

} // namespace zorvane
