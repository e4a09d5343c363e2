#include "mac/Tessel/Health/AppHealthJSON.h"

#include "mac/Tessel/Health/AppHealthValidationError.h"
#include "mac/Tessel/Health/AppHealthValidator.h"
#include "mac/Tessel/Json/JsonText.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <utility>

namespace tessel {
namespace {

using boost::json::array;
using boost::json::object;

// Members are assigned, never emplaced: libc++ 17 cannot compile object::emplace as C++23.

template <AppHealthEnumeration Enumeration>
boost::json::string_view rawText(Enumeration value) {
    const auto text = rawValue(value);
    return {text.data(), text.size()};
}

array treeOf(const std::vector<std::string>& texts) {
    array tree;
    tree.reserve(texts.size());
    for (const auto& text : texts) {
        tree.emplace_back(text);
    }
    return tree;
}

object treeOf(const AppHealthMetrics& metrics) {
    object tree;
    tree.reserve(metrics.size());
    for (const auto& [key, number] : metrics) {
        tree[key] = number;
    }
    return tree;
}

object treeOf(const AppHealthCheckResult& check) {
    return {{"id", check.id},
            {"category", rawText(check.category)},
            {"status", rawText(check.status)},
            {"durationMs", check.durationMs},
            {"metrics", treeOf(check.metrics)}};
}

object treeOf(const AppBuildAttestation& receipt) {
    object tree{{"schemaVersion", receipt.schemaVersion},
                {"app", receipt.app},
                {"version", receipt.version},
                {"build", receipt.build},
                {"sourceCommit", receipt.sourceCommit},
                {"generatedAt", receipt.generatedAt}};
    if (receipt.verifiedSuites) {
        tree["verifiedSuites"] = treeOf(*receipt.verifiedSuites);
    }
    return tree;
}

object treeOf(const AppHealthAttestationEnvelope& envelope) {
    return {{"gatesVerified", envelope.gatesVerified},
            {"verifiedSuites", treeOf(envelope.verifiedSuites)},
            {"receipt", treeOf(envelope.receipt)}};
}

object treeOf(const AppHealthReport& report) {
    object tree{{"schemaVersion", report.schemaVersion},
                {"app", report.app},
                {"channel", rawText(report.channel)},
                {"version", report.version},
                {"build", report.build},
                {"sourceCommit", report.sourceCommit},
                {"artifact", rawText(report.artifact)},
                {"trigger", rawText(report.trigger)},
                {"generatedAt", report.generatedAt},
                {"status", rawText(report.status)},
                {"metrics", treeOf(report.metrics)}};
    array checks;
    checks.reserve(report.checks.size());
    for (const auto& check : report.checks) {
        checks.emplace_back(treeOf(check));
    }
    tree["checks"] = std::move(checks);
    if (report.attestation) {
        tree["attestation"] = std::visit([](const auto& content) { return treeOf(content); },
                                         report.attestation->content);
    }
    if (report.logKey) {
        tree["logKey"] = *report.logKey;
    }
    return tree;
}

} // namespace

std::optional<std::string> AppHealthJSON::encoded(const AppHealthReport& report) {
    return compactJsonText(treeOf(report));
}

std::optional<std::string> AppHealthJSON::encoded(const AppBuildAttestation& receipt) {
    return compactJsonText(treeOf(receipt));
}

std::string AppHealthJSON::storedData(const AppHealthReport& report) {
    auto data = prettyJsonText(treeOf(report));
    if (!data) {
        throw AppHealthValidationError({"report is not JSON encodable"});
    }
    *data += '\n';
    auto result = AppHealthValidator::validate(*data);
    if (!result.ok) {
        throw AppHealthValidationError(std::move(result.errors));
    }
    return std::move(*data);
}

std::string AppHealthJSON::stateData(const boost::json::value& state) {
    auto data = compactJsonText(state);
    if (!data) {
        throw AppHealthValidationError({"state is not JSON encodable"});
    }
    return std::move(*data);
}

} // namespace tessel
