// The strict decoders without a validation before them: any tree ends in a value or in an
// AppHealthValidationError.
#include "fuzz/Fuzzing.h"
#include "mac/Tessel/Health/AppHealthDecoding.h"
#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/AppHealthValidationError.h"
#include "mac/Tessel/Health/AppHealthValidator.h"
#include "mac/Tessel/Json/StrictJson.h"

using fuzzing::require;
using tessel::AppHealthDecoding;
using tessel::StrictJson;

namespace {

template <class Action>
void readOrThrow(Action action) {
    try {
        action();
    } catch (const tessel::AppHealthValidationError& error) {
        require(!error.errors().empty(), "an error says what is wrong");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto tree = StrictJson::parse(fuzzing::textOf(data, size));
    if (!tree) {
        return 0;
    }
    const auto root = tree->root();
    readOrThrow([root] { (void)AppHealthDecoding::checkResult(root); });
    readOrThrow([root] { (void)AppHealthDecoding::attestation(root); });
    readOrThrow([root] {
        const auto receipt = AppHealthDecoding::buildAttestation(root);
        const auto text = tessel::AppHealthJSON::encoded(receipt);
        require(text.has_value(), "a receipt that was read can be written");
        const auto again = StrictJson::parse(*text);
        require(again && AppHealthDecoding::buildAttestation(again->root()) == receipt,
                "and read again");
    });
    readOrThrow([root] {
        const auto report = AppHealthDecoding::report(root);
        (void)tessel::AppHealthValidator::validate(report);
    });
    return 0;
}
