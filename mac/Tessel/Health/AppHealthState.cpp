#include "mac/Tessel/Health/AppHealthState.h"

#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Json/StrictJson.h"

#include <boost/json/object.hpp>

namespace tessel {
namespace {

// Reads a text of the object; false when there is something else in its place.
template <class Read>
bool readText(StrictJson::Value object, std::string_view key, Read read) {
    const auto value = object.find(key);
    if (!value || value->isNull()) {
        return true;
    }
    const auto text = value->string();
    return text && read(*text);
}

} // namespace

std::string AppHealthState::encoded() const {
    boost::json::object object;
    if (lastVersionBuild) {
        object["lastVersionBuild"] = *lastVersionBuild;
    }
    if (lastRunAt) {
        object["lastRunAt"] = formatTimestampWithoutFraction(*lastRunAt);
    }
    return AppHealthJSON::stateData(object);
}

std::optional<AppHealthState> AppHealthState::decode(std::string_view data) {
    const auto tree = StrictJson::parse(data);
    if (!tree || !tree->root().isObject()) {
        return std::nullopt;
    }
    AppHealthState state;
    const bool isState = readText(tree->root(), "lastVersionBuild",
                                  [&](std::string_view text) {
                                      state.lastVersionBuild = text;
                                      return true;
                                  }) &&
                         readText(tree->root(), "lastRunAt", [&](std::string_view text) {
                             state.lastRunAt = parseInternetDateTime(text);
                             return state.lastRunAt.has_value();
                         });
    return isState ? std::optional(state) : std::nullopt;
}

} // namespace tessel
