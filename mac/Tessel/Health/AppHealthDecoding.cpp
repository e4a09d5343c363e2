#include "mac/Tessel/Health/AppHealthDecoding.h"

#include "mac/Tessel/Health/AppHealthSchema.h"
#include "mac/Tessel/Health/AppHealthValidationError.h"
#include "mac/Tessel/Health/KnownMembers.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

namespace tessel {
namespace {

using Value = StrictJson::Value;
using Field = std::optional<Value>;

std::optional<std::int64_t> integerOf(std::string_view text) {
    std::int64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = result.ec == std::errc() && result.ptr == text.data() + text.size();
    return whole ? std::optional(number) : std::nullopt;
}

// The fields of one object; every reader throws when the field is not what it is asked for.
template <const auto& keys>
class Fields {
  public:
    using Key = typename KnownMembers<keys>::Key;

    Fields(Value object, std::string_view description)
        : object_(object)
        , members_(object)
        , description_(description) {
        if (!object.isObject()) {
            throw AppHealthValidationError({fmt::format("{} is not an object", description)});
        }
    }

    void rejectOtherKeys() const {
        if (!members_.areAll()) {
            rejectUnknownKeys(object_, keys, description_);
        }
    }

    [[nodiscard]] Field given(Key key) const {
        const Field field = members_[key];
        return field && !field->isNull() ? field : std::nullopt;
    }

    [[nodiscard]] Value value(Key key) const { return present(members_[key], key); }

    [[nodiscard]] std::string text(Key key) const {
        return std::string(present(value(key).string(), key));
    }

    template <AppHealthEnumeration Enumeration>
    [[nodiscard]] Enumeration caseOf(Key key) const {
        return present(fromRawValue<Enumeration>(present(value(key).string(), key)), key);
    }

    [[nodiscard]] std::vector<std::string> texts(Key key) const {
        const Value array = value(key);
        require(array.isArray(), key);
        std::vector<std::string> texts;
        for (const Value element : array.elements()) {
            texts.emplace_back(present(element.string(), key));
        }
        return texts;
    }

    [[nodiscard]] AppHealthMetrics metrics(Key key) const {
        const Value object = value(key);
        require(object.isObject(), key);
        AppHealthMetrics::sequence_type metrics;
        metrics.reserve(object.size());
        for (const StrictJson::Member metric : object.members()) {
            metrics.emplace_back(metric.key, present(metric.value.number(), key));
        }
        AppHealthMetrics sorted;
        if (object.isSorted()) {
            sorted.adopt_sequence(boost::container::ordered_unique_range, std::move(metrics));
        } else {
            sorted.adopt_sequence(std::move(metrics));
        }
        return sorted;
    }

    template <class Content>
    [[nodiscard]] Content present(const std::optional<Content>& content, Key key) const {
        require(content.has_value(), key);
        return *content;
    }

    void require(bool holds, Key key) const {
        if (!holds) {
            throw AppHealthValidationError(
                {fmt::format("{}.{} is invalid", description_, key.text)});
        }
    }

  private:
    Value object_;
    KnownMembers<keys> members_;
    std::string_view description_;
};

} // namespace

AnyCodingKey::AnyCodingKey(std::string_view text)
    : stringValue(text)
    , intValue(integerOf(text)) {}

AnyCodingKey::AnyCodingKey(std::int64_t number)
    : stringValue(fmt::format("{}", number))
    , intValue(number) {}

std::vector<AnyCodingKey> AnyCodingKey::keysOf(StrictJson::Value object) {
    std::vector<AnyCodingKey> keys;
    for (const StrictJson::Member member : object.members()) {
        keys.emplace_back(member.key);
    }
    return keys;
}

void rejectUnknownKeys(StrictJson::Value object, std::span<const std::string_view> allowed,
                       std::string_view description) {
    for (const StrictJson::Member member : object.members()) {
        if (std::ranges::find(allowed, member.key) == allowed.end()) {
            throw AppHealthValidationError(
                {fmt::format("{} has content-bearing fields", description)});
        }
    }
}

AppHealthCheckResult AppHealthDecoding::checkResult(StrictJson::Value object) {
    const Fields<AppHealthSchema::checkKeys> fields(object, "check");
    fields.rejectOtherKeys();
    const double duration = fields.present(fields.value("durationMs").number(), "durationMs");
    fields.require(AppHealthSchema::validWholeNumber(duration), "durationMs");
    return {
        .id = fields.text("id"),
        .category = fields.caseOf<AppHealthCategory>("category"),
        .status = fields.caseOf<AppHealthStatus>("status"),
        .durationMs = static_cast<std::int64_t>(duration),
        .metrics = fields.metrics("metrics"),
    };
}

AppBuildAttestation AppHealthDecoding::buildAttestation(StrictJson::Value object) {
    const Fields<AppHealthSchema::receiptKeys> fields(object, "attestation receipt");
    fields.rejectOtherKeys();
    AppBuildAttestation receipt;
    receipt.schemaVersion = fields.text("schemaVersion");
    receipt.app = fields.text("app");
    receipt.version = fields.text("version");
    receipt.build = fields.text("build");
    receipt.sourceCommit = fields.text("sourceCommit");
    receipt.generatedAt = fields.text("generatedAt");
    if (fields.given("verifiedSuites")) {
        receipt.verifiedSuites = fields.texts("verifiedSuites");
    }
    return receipt;
}

AppHealthAttestationEnvelope AppHealthDecoding::envelope(StrictJson::Value object) {
    const Fields<AppHealthSchema::envelopeKeys> fields(object, "attestation");
    fields.rejectOtherKeys();
    return {
        .gatesVerified = fields.present(fields.value("gatesVerified").boolean(), "gatesVerified"),
        .verifiedSuites = fields.texts("verifiedSuites"),
        .receipt = buildAttestation(fields.value("receipt")),
    };
}

AppHealthAttestation AppHealthDecoding::attestation(StrictJson::Value object) {
    return object.find("receipt") ? AppHealthAttestation::wrapper(envelope(object))
                                  : AppHealthAttestation::receipt(buildAttestation(object));
}

AppHealthReport AppHealthDecoding::report(StrictJson::Value object) {
    const Fields<AppHealthSchema::reportKeys> fields(object, "report");
    AppHealthReport report;
    report.schemaVersion = fields.text("schemaVersion");
    report.app = fields.text("app");
    report.channel = fields.caseOf<AppHealthChannel>("channel");
    report.version = fields.text("version");
    report.build = fields.text("build");
    report.sourceCommit = fields.text("sourceCommit");
    report.artifact = fields.caseOf<AppHealthArtifact>("artifact");
    report.trigger = fields.caseOf<AppHealthTrigger>("trigger");
    report.generatedAt = fields.text("generatedAt");
    report.status = fields.caseOf<AppHealthStatus>("status");
    const Value checks = fields.value("checks");
    fields.require(checks.isArray(), "checks");
    report.checks.reserve(checks.size());
    for (const Value check : checks.elements()) {
        report.checks.push_back(checkResult(check));
    }
    report.metrics = fields.metrics("metrics");
    if (const auto attestation = fields.given("attestation")) {
        report.attestation = AppHealthDecoding::attestation(*attestation);
    }
    if (fields.given("logKey")) {
        report.logKey = fields.text("logKey");
    }
    return report;
}

} // namespace tessel
