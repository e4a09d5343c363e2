#include "mac/Tessel/Health/AppHealthValidator.h"

#include "mac/Tessel/Health/AppHealthDecoding.h"
#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/RawAppHealthValidator.h"
#include "mac/Tessel/Json/StrictJson.h"

namespace tessel {
namespace {

std::vector<std::string> errorsOf(const std::optional<StrictJson>& tree) {
    if (!tree) {
        return {"report is not valid JSON"};
    }
    if (!tree->root().isObject()) {
        return {"report must be an object"};
    }
    RawAppHealthValidator validator;
    validator.validateReport(tree->root());
    return validator.takeErrors();
}

} // namespace

AppHealthValidationResult AppHealthValidator::validate(std::string_view data) {
    return AppHealthValidationResult(errorsOf(StrictJson::parse(data)));
}

AppHealthValidationResult AppHealthValidator::validate(const AppHealthReport& report) {
    const auto data = AppHealthJSON::encoded(report);
    return data ? validate(*data) : AppHealthValidationResult({"report is not JSON encodable"});
}

AppHealthReport AppHealthValidator::decode(std::string_view data) {
    const auto tree = StrictJson::parse(data);
    auto errors = errorsOf(tree);
    if (!errors.empty()) {
        throw AppHealthValidationError(std::move(errors));
    }
    return AppHealthDecoding::report(tree->root());
}

std::optional<AppBuildAttestation> AppHealthValidator::decodeReceipt(std::string_view data) {
    const auto tree = StrictJson::parse(data);
    if (!tree || !tree->root().isObject()) {
        return std::nullopt;
    }
    RawAppHealthValidator validator;
    validator.validateReceipt(tree->root(), {"attestation"});
    if (!validator.errors().empty()) {
        return std::nullopt;
    }
    try {
        return AppHealthDecoding::buildAttestation(tree->root());
    } catch (const AppHealthValidationError&) {
        return std::nullopt;
    }
}

} // namespace tessel
