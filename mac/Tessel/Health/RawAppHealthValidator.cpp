#include "mac/Tessel/Health/RawAppHealthValidator.h"

#include "mac/Tessel/Health/AppHealthAttestation.h"
#include "mac/Tessel/Health/AppHealthReport.h"
#include "mac/Tessel/Health/AppHealthSchema.h"
#include "mac/Tessel/Health/KnownMembers.h"
#include "mac/Tessel/Json/UniqueKeys.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
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

// Which identifiers there have been. Of an honest document's number they are kept without asking
// for memory.
class SeenTexts {
  public:
    // Whether it is new.
    bool add(std::string_view text) {
        if (count_ == few) {
            return !isAmongFew(text) && more_.insert(text).second;
        }
        std::uint16_t& slot = slotOf(text);
        if (slot != 0) {
            return false;
        }
        texts_[count_++] = text;
        slot = static_cast<std::uint16_t>(count_);
        return true;
    }

  private:
    static constexpr std::size_t few = Schema::mostChecks;
    static constexpr std::size_t slots = 2 * few;

    bool isAmongFew(std::string_view text) { return slotOf(text) != 0; }

    // The slot of a text, free if the text is new. However the texts are chosen, it is one of the
    // first few after where it should be.
    std::uint16_t& slotOf(std::string_view text) {
        std::size_t slot = UniqueKeys::slotOf(text, slots);
        while (table_[slot] != 0 && texts_[table_[slot] - std::size_t{1}] != text) {
            slot = (slot + 1) % slots;
        }
        return table_[slot];
    }

    std::array<std::uint16_t, slots> table_{}; // index + 1
    std::array<std::string_view, few> texts_;
    std::size_t count_ = 0;
    std::unordered_set<std::string_view> more_;
};

// What a report's metrics say about its checks, and then what they may say.
constexpr std::array<std::string_view, 7> summaryKeys{
    "checks", "passed", "failed", "warnings", "skipped", "totalDurationMs", "bundleBytes"};

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

void RawAppHealthValidator::addError(const Path& path, std::string_view suffix) {
    errors_.push_back(path.text() + std::string(suffix));
}

void RawAppHealthValidator::validateReport(Value root) {
    const ReportMembers members(root);
    validateIdentity(members);
    const auto status = caseOf<AppHealthStatus>(members["status"]);
    require(status.has_value(), "bad report status");
    Summary summary;
    validateChecks(members["checks"], summary);
    require(!status || *status == summary.rollup(), "report status does not match checks");
    const auto metrics = members["metrics"];
    validateMetrics(metrics, {"metrics"});
    validateSummary(metrics, summary);
    const auto attestation = members["attestation"];
    if (isGiven(attestation)) {
        validateAttestation(*attestation, root);
    }
    const auto logKey = members["logKey"];
    if (isGiven(logKey)) {
        const auto key = textOf(logKey);
        const auto app = textOf(members["app"]);
        const auto build = textOf(members["build"]);
        require(key && app && build && Schema::validLogKey(*key, *app, *build), "bad logKey");
    }
}

void RawAppHealthValidator::validateIdentity(const ReportMembers& members) {
    require(members.areAll(), "report has content-bearing fields");
    require(isText(members["schemaVersion"], AppHealthReport::currentSchemaVersion),
            "bad schemaVersion");
    require(isTextThat(members["app"], Schema::validApp), "bad app");
    require(caseOf<AppHealthChannel>(members["channel"]).has_value(), "bad channel");
    require(isTextThat(members["version"], Schema::validVersion), "bad version");
    require(isTextThat(members["build"], Schema::validBuild), "bad build");
    const auto commit = members["sourceCommit"];
    require(isText(commit, "") || isTextThat(commit, Schema::validSourceCommit),
            "bad sourceCommit");
    require(caseOf<AppHealthArtifact>(members["artifact"]).has_value(), "bad artifact");
    require(caseOf<AppHealthTrigger>(members["trigger"]).has_value(), "bad trigger");
    require(isTextThat(members["generatedAt"], Schema::validTimestamp), "bad generatedAt");
}

void RawAppHealthValidator::validateChecks(std::optional<Value> checks, Summary& summary) {
    if (!checks || !checks->isArray()) {
        require(false, "checks not array");
        return;
    }
    require(checks->size() <= Schema::mostChecks, "too many checks");
    SeenTexts ids;
    for (const Value check : checks->elements()) {
        const Path path{"checks", summary.checks++};
        if (!check.isObject()) {
            require(false, path, " not object");
            continue;
        }
        const CheckMembers members(check);
        require(members.areAll(), path, " has content-bearing fields");
        const auto id = textOf(members["id"]);
        if (id && Schema::validStableID(*id)) {
            require(ids.add(*id), path, ".id is duplicated");
        } else {
            require(false, path, ".id is invalid");
        }
        validateCheck(members, path, summary);
    }
}

void RawAppHealthValidator::validateCheck(const CheckMembers& members, const Path& path,
                                          Summary& summary) {
    require(caseOf<AppHealthCategory>(members["category"]).has_value(), path,
            ".category is invalid");
    const auto status = caseOf<AppHealthStatus>(members["status"]);
    require(status.has_value(), path, ".status is invalid");
    if (status) {
        summary.count(*status);
    }
    const auto duration = numberOf(members["durationMs"]);
    const bool validDuration = duration && Schema::validWholeNumber(*duration);
    require(validDuration, path, ".durationMs is invalid");
    summary.totalDurationMs += validDuration ? *duration : 0;
    validateMetrics(members["metrics"], {path.base, path.index, ".metrics"});
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
    using Members = KnownMembers<summaryKeys>;
    const Members members = metrics ? Members(*metrics) : Members();
    const std::array<double, summaryKeys.size() - 1> expected{
        static_cast<double>(summary.checks),  static_cast<double>(summary.passed),
        static_cast<double>(summary.failed),  static_cast<double>(summary.warnings),
        static_cast<double>(summary.skipped), summary.totalDurationMs,
    };
    for (std::size_t place = 0; place < expected.size(); ++place) {
        const Path path{.base = "metrics.", .member = summaryKeys[place]};
        const auto number = numberOf(members.at(place));
        require(number.has_value(), path, " is invalid");
        require(!number || *number == expected[place], path, " does not match checks");
    }
    const auto bundleBytes = members["bundleBytes"];
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
    const KnownMembers<Schema::envelopeKeys> members(attestation);
    const auto receipt = members["receipt"];
    if (!receipt) {
        validateReceipt(attestation, path);
        validateReceiptIdentity(attestation, report, path);
        return;
    }
    require(members.areAll(), path, " has content-bearing fields");
    const auto gates = members["gatesVerified"];
    require(gates && gates->boolean() == true, path, ".gatesVerified must be true");
    validateSuites(members["verifiedSuites"], {"attestation.verifiedSuites"});
    if (!receipt->isObject()) {
        require(false, path, ".receipt must be an object");
        return;
    }
    validateReceipt(*receipt, {"attestation.receipt"});
    validateReceiptIdentity(*receipt, report, {"attestation.receipt"});
}

void RawAppHealthValidator::validateReceipt(Value receipt, const Path& path) {
    const KnownMembers<Schema::receiptKeys> members(receipt);
    require(members.areAll(), path, " has content-bearing fields");
    require(isText(members["schemaVersion"], AppBuildAttestation::currentSchemaVersion), path,
            ".schemaVersion is invalid");
    require(isTextThat(members["app"], Schema::validApp), path, ".app is invalid");
    require(isTextThat(members["version"], Schema::validVersion), path, ".version is invalid");
    require(isTextThat(members["build"], Schema::validBuild), path, ".build is invalid");
    require(isTextThat(members["sourceCommit"], Schema::validSourceCommit), path,
            ".sourceCommit is invalid");
    require(isTextThat(members["generatedAt"], Schema::validTimestamp), path,
            ".generatedAt is invalid");
    const auto suites = members["verifiedSuites"];
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
