// Health values out of a tree, strictly: an object with a key outside its type's fixed set, a
// missing field or one of another type throws AppHealthValidationError. This reads the form only;
// whether the content obeys the schema is RawAppHealthValidator's question, asked first by
// AppHealthValidator. Pure functions; any thread.
#pragma once

#include "mac/Tessel/Health/AppHealthAttestation.h"
#include "mac/Tessel/Health/AppHealthReport.h"
#include "mac/Tessel/Json/StrictJson.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tessel {

// Any key at all: how the keys an object really has are listed, before the known ones are read. A
// key that is the decimal text of an integer also has its value.
struct AnyCodingKey {
    explicit AnyCodingKey(std::string_view text);
    explicit AnyCodingKey(std::int64_t number);

    // Of an object, in the document's order.
    [[nodiscard]] static std::vector<AnyCodingKey> keysOf(StrictJson::Value object);

    std::string stringValue;
    std::optional<std::int64_t> intValue;

    bool operator==(const AnyCodingKey&) const = default;
};

// Throws the description followed by " has content-bearing fields" unless all keys are allowed.
void rejectUnknownKeys(StrictJson::Value object, std::span<const std::string_view> allowed,
                       std::string_view description);

struct AppHealthDecoding {
    [[nodiscard]] static AppHealthReport report(StrictJson::Value object);
    [[nodiscard]] static AppHealthCheckResult checkResult(StrictJson::Value object);
    [[nodiscard]] static AppBuildAttestation buildAttestation(StrictJson::Value object);
    [[nodiscard]] static AppHealthAttestationEnvelope envelope(StrictJson::Value object);
    // An envelope if there is a "receipt", a bare receipt otherwise.
    [[nodiscard]] static AppHealthAttestation attestation(StrictJson::Value object);
};

} // namespace tessel
