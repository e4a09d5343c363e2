#include "mac/Tessel/State/Credentials.h"

#include "mac/Tessel/Json/JsonFields.h"
#include "mac/Tessel/Json/JsonText.h"

#include <boost/json/value.hpp>

#include <utility>

namespace tessel {
namespace {

std::optional<Timestamp> dateField(const boost::json::object& object, std::string_view key) {
    const auto text = stringField(object, key);
    if (!text || text->contains('.')) { // the form without a fraction
        return std::nullopt;
    }
    return parseInternetDateTime(*text);
}

} // namespace

std::optional<std::string> credentialsText(const Credentials& credentials) {
    const auto year = calendarTime(credentials.linkedAt).year;
    if (year < 0 || year > 9999) {
        return std::nullopt;
    }
    return prettyJsonText({{"token", credentials.token},
                           {"serverOrigin", credentials.serverOrigin},
                           {"tokenName", credentials.tokenName},
                           {"linkedAt", formatTimestampWithoutFraction(credentials.linkedAt)}});
}

std::optional<Credentials> decodeCredentials(std::string_view text) {
    const auto object = parseJsonObject(text);
    if (!object) {
        return std::nullopt;
    }
    auto token = stringField(*object, "token");
    auto serverOrigin = stringField(*object, "serverOrigin");
    auto tokenName = stringField(*object, "tokenName");
    const auto linkedAt = dateField(*object, "linkedAt");
    if (!token || !serverOrigin || !tokenName || !linkedAt) {
        return std::nullopt;
    }
    return Credentials{.token = *std::move(token),
                       .serverOrigin = *std::move(serverOrigin),
                       .tokenName = *std::move(tokenName),
                       .linkedAt = *linkedAt};
}

} // namespace tessel
