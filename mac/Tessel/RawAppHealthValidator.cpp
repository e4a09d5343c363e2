#include "mac/Tessel/RawAppHealthValidator.h"

#include "mac/Tessel/AppHealthAttestation.h"
#include "mac/Tessel/AppHealthReport.h"
#include "mac/Tessel/AppHealthSchema.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <span>
#include <unordered_set>
#include <utility>

namespace tessel {
namespace {

using Value = StrictJson::Value;
using Field = std::optional<Value>;
using Schema = AppHealthSchema;

std::optional<std::string_view> textOf(Field field) {
    return field ? field->string() : std::nullopt;
}

std::optional<double> numberOf(Field field) {
    return field ? field->number() : std::nullopt;
}

bool isText(Field field, std::string_view wanted) {
    return textOf(field) == wanted;
}

template <class Rule>
bool isTextThat(Field field, Rule rule) {
    const auto text = textOf(field);
    return text && rule(*text);
}

template <AppHealthEnumeration Enumeration>
std::optional<Enumeration> caseOf(Field field) {
    const auto text = textOf(field);
    return text ? fromRawValue<Enumeration>(*text) : std::nullopt;
}

bool isGiven(Field field) {
    return field && !field->isNull();
}

bool hasOnly(Value object, std::span<const std::string_view> keys) {
    for (const StrictJson::Member member : object.members()) {
        if (std::ranges::find(keys, member.key) == keys.end()) {
            return false;
        }
    }
    return true;
}

} // namespace

std::string RawAppHealthValidator::Path::text() const {
    return index ? fmt::format("{}[{}]{}", base, *index, member)
                 : fmt::format("{}{}", base, member);
}

void RawAppHealthValidator::Summary::count(AppHealthStatus status) {
    switch (status) {
    case AppHealthStatus::pass:
        ++passed;
        break;
    case AppHealthStatus::warning:
        ++warnings;
        break;
    case AppHealthStatus::fail:
        ++failed;
        break;
    case AppHealthStatus::skip:
        ++skipped;
        break;
    }
}

AppHealthStatus RawAppHealthValidator::Summary::rollup() const {
    return failed > 0     ? AppHealthStatus::fail
           : warnings > 0 ? AppHealthStatus::warning
                          : AppHealthStatus::pass;
}

void RawAppHealthValidator::require(bool holds, std::string_view message) {
    if (!holds) {
        errors_.emplace_back(message);
    }
}

void RawAppHealthValidator::require(bool holds, const Path& path, std::string_view suffix) {
    if (!holds) {
        errors_.push_back(path.text() + std::string(suffix));
    }
}

void RawAppHealthValidator::validateReport(Value root) {
    validateIdentity(root);
    const auto status = caseOf<AppHealthStatus>(root.find("status"));
    require(status.has_value(), "bad report status");
    Summary summary;
    validateChecks(root.find("checks"), summary);
    require(!status || *status == summary.rollup(), "report status does not match checks");
    const auto metrics = root.find("metrics");
    validateMetrics(metrics, {"metrics"});
    validateSummary(metrics, summary);
    const auto attestation = root.find("attestation");
    if (isGiven(attestation)) {
        validateAttestation(*attestation, root);
    }
    const auto logKey = root.find("logKey");
    if (isGiven(logKey)) {
        const auto key = textOf(logKey);
        const auto app = textOf(root.find("app"));
        const auto build = textOf(root.find("build"));
        require(key && app && build && Schema::validLogKey(*key, *app, *build), "bad logKey");
    }
}

void RawAppHealthValidator::validateIdentity(Value root) {
    require(hasOnly(root, Schema::reportKeys), "report has content-bearing fields");
    require(isText(root.find("schemaVersion"), AppHealthReport::currentSchemaVersion),
            "bad schemaVersion");
    require(isTextThat(root.find("app"), Schema::validApp), "bad app");
    require(caseOf<AppHealthChannel>(root.find("channel")).has_value(), "bad channel");
    require(isTextThat(root.find("version"), Schema::validVersion), "bad version");
    require(isTextThat(root.find("build"), Schema::validBuild), "bad build");
    const auto commit = root.find("sourceCommit");
    require(isText(commit, "") || isTextThat(commit, Schema::validSourceCommit),
            "bad sourceCommit");
    require(caseOf<AppHealthArtifact>(root.find("artifact")).has_value(), "bad artifact");
    require(caseOf<AppHealthTrigger>(root.find("trigger")).has_value(), "bad trigger");
    require(isTextThat(root.find("generatedAt"), Schema::validTimestamp), "bad generatedAt");
}

void RawAppHealthValidator::validateChecks(std::optional<Value> checks, Summary& summary) {
    if (!checks || !checks->isArray()) {
        require(false, "checks not array");
        return;
    }
    require(checks->size() <= Schema::mostChecks, "too many checks");
    std::unordered_set<std::string_view> ids;
    ids.reserve(std::min(checks->size(), Schema::mostChecks));
    for (const Value check : checks->elements()) {
        const Path path{"checks", summary.checks++};
        if (!check.isObject()) {
            require(false, path, " not object");
            continue;
        }
        require(hasOnly(check, Schema::checkKeys), path, " has content-bearing fields");
        const auto id = textOf(check.find("id"));
        if (id && Schema::validStableID(*id)) {
            require(ids.insert(*id).second, path, ".id is duplicated");
        } else {
            require(false, path, ".id is invalid");
        }
        validateCheck(check, path, summary);
    }
}

void RawAppHealthValidator::validateCheck(Value check, const Path& path, Summary& summary) {
    require(caseOf<AppHealthCategory>(check.find("category")).has_value(), path,
            ".category is invalid");
    const auto status = caseOf<AppHealthStatus>(check.find("status"));
    require(status.has_value(), path, ".status is invalid");
    if (status) {
        summary.count(*status);
    }
    const auto duration = numberOf(check.find("durationMs"));
    const bool validDuration = duration && Schema::validWholeNumber(*duration);
    require(validDuration, path, ".durationMs is invalid");
    summary.totalDurationMs += validDuration ? *duration : 0;
    validateMetrics(check.find("metrics"), {path.base, path.index, ".metrics"});
}

void RawAppHealthValidator::validateMetrics(std::optional<Value> metrics, const Path& path) {
    if (!metrics || !metrics->isObject()) {
        require(false, path, " not object");
        return;
    }
    require(metrics->size() <= Schema::mostMetrics, path, " has too many keys");
    for (const StrictJson::Member metric : metrics->members()) {
        require(Schema::validMetricKey(metric.key), path, " has an invalid key");
        const auto number = metric.value.number();
        require(number && Schema::validMetricValue(*number), path, " has an invalid value");
    }
}

void RawAppHealthValidator::validateSummary(std::optional<Value> metrics, const Summary& summary) {
    const auto find = [&metrics](std::string_view key) {
        return metrics ? metrics->find(key) : std::nullopt;
    };
    const std::array<std::pair<std::string_view, double>, 6> expected{{
        {"checks", static_cast<double>(summary.checks)},
        {"passed", static_cast<double>(summary.passed)},
        {"failed", static_cast<double>(summary.failed)},
        {"warnings", static_cast<double>(summary.warnings)},
        {"skipped", static_cast<double>(summary.skipped)},
        {"totalDurationMs", summary.totalDurationMs},
    }};
    for (const auto& [key, value] : expected) {
        const Path path{.base = "metrics.", .member = key};
        const auto number = numberOf(find(key));
        require(number.has_value(), path, " is invalid");
        require(!number || *number == value, path, " does not match checks");
    }
    const auto bundleBytes = find("bundleBytes");
    const auto bytes = numberOf(bundleBytes);
    require(!bundleBytes || (bytes && Schema::validWholeNumber(*bytes)),
            "metrics.bundleBytes is invalid");
}

void RawAppHealthValidator::validateSuites(std::optional<Value> suites, const Path& path) {
    if (!suites || !suites->isArray() || suites->size() == 0 ||
        suites->size() > Schema::mostSuites) {
        require(false, path, " must contain 1..32 suite ids");
        return;
    }
    std::vector<std::string_view> seen;
    std::size_t index = 0;
    for (const Value suite : suites->elements()) {
        const auto id = suite.string();
        if (!id || !Schema::validMetricKey(*id)) {
            errors_.push_back(fmt::format("{}[{}] is invalid", path.text(), index));
        } else if (std::ranges::find(seen, *id) != seen.end()) {
            require(false, path, " contains a duplicate id");
        } else {
            seen.push_back(*id);
        }
        ++index;
    }
}

void RawAppHealthValidator::validateAttestation(Value attestation, Value report) {
    constexpr Path path{"attestation"};
    if (!attestation.isObject()) {
        require(false, path, " must be an object");
        return;
    }
    const auto receipt = attestation.find("receipt");
    if (!receipt) {
        validateReceipt(attestation, path);
        validateReceiptIdentity(attestation, report, path);
        return;
    }
    require(hasOnly(attestation, Schema::envelopeKeys), path, " has content-bearing fields");
    const auto gates = attestation.find("gatesVerified");
    require(gates && gates->boolean() == true, path, ".gatesVerified must be true");
    validateSuites(attestation.find("verifiedSuites"), {"attestation.verifiedSuites"});
    if (!receipt->isObject()) {
        require(false, path, ".receipt must be an object");
        return;
    }
    validateReceipt(*receipt, {"attestation.receipt"});
    validateReceiptIdentity(*receipt, report, {"attestation.receipt"});
}

void RawAppHealthValidator::validateReceipt(Value receipt, const Path& path) {
    require(hasOnly(receipt, Schema::receiptKeys), path, " has content-bearing fields");
    require(isText(receipt.find("schemaVersion"), AppBuildAttestation::currentSchemaVersion), path,
            ".schemaVersion is invalid");
    require(isTextThat(receipt.find("app"), Schema::validApp), path, ".app is invalid");
    require(isTextThat(receipt.find("version"), Schema::validVersion), path, ".version is invalid");
    require(isTextThat(receipt.find("build"), Schema::validBuild), path, ".build is invalid");
    require(isTextThat(receipt.find("sourceCommit"), Schema::validSourceCommit), path,
            ".sourceCommit is invalid");
    require(isTextThat(receipt.find("generatedAt"), Schema::validTimestamp), path,
            ".generatedAt is invalid");
    const auto suites = receipt.find("verifiedSuites");
    if (isGiven(suites)) {
        validateSuites(suites, {.base = path.base, .member = ".verifiedSuites"});
    }
}

void RawAppHealthValidator::validateReceiptIdentity(Value receipt, Value report, const Path& path) {
    for (const std::string_view key : {"app", "version", "build", "sourceCommit"}) {
        const auto own = textOf(receipt.find(key));
        const bool matches = own && own == textOf(report.find(key));
        // A report may leave its commit empty; a receipt then matches no report.
        const bool known = key != "sourceCommit" || (own && !own->empty());
        if (!matches || !known) {
            errors_.push_back(fmt::format("{}.{} does not match report", path.text(), key));
        }
    }
}

} // namespace tessel
