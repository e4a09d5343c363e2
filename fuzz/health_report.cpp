// A health report: what is valid can be read, is valid again when it is written, and is then always
// written as the same bytes.
#include "fuzz/Fuzzing.h"
#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/AppHealthValidator.h"

#include <exception>

using fuzzing::require;
using tessel::AppHealthJSON;
using tessel::AppHealthValidator;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = fuzzing::textOf(data, size);
    (void)AppHealthValidator::decodeReceipt(text);
    const auto result = AppHealthValidator::validate(text);
    require(result.ok == result.errors.empty(), "a report is valid when nothing is wrong with it");
    try {
        const auto report = AppHealthValidator::decode(text);
        require(result.ok, "only a valid report is read");
        const auto stored = AppHealthJSON::storedData(report);
        const auto again = AppHealthValidator::decode(stored);
        require(again == report, "what was written reads back as the same report");
        require(AppHealthJSON::storedData(again) == stored,
                "written twice, the bytes are the same");
    } catch (const std::exception&) {
        require(!result.ok, "a valid report is read and written");
    }
    return 0;
}
