#include "tools/tessel/HealthPlan.h"

#include "mac/Tessel/Health/AppHealthRunner.h"
#include "mac/Tessel/Health/AppHealthSchema.h"
#include "mac/Tessel/Health/AppHealthValidationError.h"
#include "mac/Tessel/Json/StrictJson.h"

#include <fmt/format.h>

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <set>
#include <stdexcept>

namespace tool::health {
namespace {

using tessel::StrictJson;
using Value = StrictJson::Value;

class WrongPlan : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

void allowKeys(Value object, const std::string& where,
               std::initializer_list<std::string_view> keys) {
    if (!object.isObject()) {
        throw WrongPlan(where + " is not an object");
    }
    for (const auto member : object.members()) {
        if (std::ranges::find(keys, member.key) == keys.end()) {
            throw WrongPlan(fmt::format("{} has an unknown key \"{}\"", where, member.key));
        }
    }
}

std::string text(Value object, std::string_view key, std::optional<std::string> otherwise = {}) {
    const auto value = object.find(key);
    if (!value && otherwise) {
        return *otherwise;
    }
    const auto found = value ? value->string() : std::nullopt;
    if (!found) {
        throw WrongPlan(fmt::format("\"{}\" is missing or no string", key));
    }
    return std::string(*found);
}

std::optional<double> number(Value object, std::string_view key) {
    const auto value = object.find(key);
    if (!value) {
        return std::nullopt;
    }
    if (!value->number()) {
        throw WrongPlan(fmt::format("\"{}\" is no number", key));
    }
    return value->number();
}

template <tessel::AppHealthEnumeration Enumeration>
Enumeration word(Value object, std::string_view key) {
    const auto raw = text(object, key);
    const auto found = tessel::fromRawValue<Enumeration>(raw);
    if (!found) {
        throw WrongPlan(fmt::format("\"{}\" cannot be \"{}\"", key, raw));
    }
    return *found;
}

PlannedCheck checkOf(Value object) {
    allowKeys(object, "a check", {"id", "category", "command", "timeout"});
    PlannedCheck check{.id = text(object, "id"),
                       .category = word<tessel::AppHealthCategory>(object, "category"),
                       .command = text(object, "command")};
    if (!tessel::AppHealthSchema::validStableID(check.id)) {
        throw WrongPlan(fmt::format("\"{}\" is no identifier of a check", check.id));
    }
    if (const auto seconds = number(object, "timeout")) {
        constexpr double most = 86'400;
        if (!(*seconds > 0 && *seconds <= most)) {
            throw WrongPlan("\"timeout\" is not between 0 and 86400 seconds");
        }
        check.timeout =
            std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(*seconds));
    }
    return check;
}

tessel::AppHealthConfiguration configurationOf(Value plan) {
    constexpr double aDay = 86'400;
    std::optional<std::int64_t> bytes;
    if (const auto given = number(plan, "bundleBytes")) {
        if (!tessel::AppHealthSchema::validWholeNumber(*given)) {
            throw WrongPlan("bundleBytes is invalid");
        }
        bytes = static_cast<std::int64_t>(*given);
    }
    return {text(plan, "app"),
            word<tessel::AppHealthChannel>(plan, "channel"),
            text(plan, "version"),
            text(plan, "build"),
            text(plan, "sourceCommit", ""),
            word<tessel::AppHealthArtifact>(plan, "artifact"),
            number(plan, "periodicInterval").value_or(aDay),
            bytes};
}

} // namespace

std::expected<Plan, std::string> readPlan(std::string_view textOfPlan) {
    const auto tree = StrictJson::parse(textOfPlan);
    if (!tree) {
        return std::unexpected("it is not valid JSON");
    }
    try {
        const Value root = tree->root();
        allowKeys(root, "it",
                  {"app", "channel", "version", "build", "sourceCommit", "artifact",
                   "periodicInterval", "bundleBytes", "checks"});
        Plan plan{.configuration = configurationOf(root), .checks = {}};
        const auto checks = root.find("checks");
        if (!checks || !checks->isArray()) {
            return std::unexpected("\"checks\" is missing or no array");
        }
        std::set<std::string> ids;
        for (const Value check : checks->elements()) {
            plan.checks.push_back(checkOf(check));
            if (!ids.insert(plan.checks.back().id).second) {
                return std::unexpected("check ids must be unique");
            }
        }
        if (plan.checks.size() > tessel::AppHealthRunner::mostChecks) {
            return std::unexpected("too many checks");
        }
        return plan;
    } catch (const std::runtime_error& error) { // of ours, or a validation's
        return std::unexpected(error.what());
    }
}

} // namespace tool::health
