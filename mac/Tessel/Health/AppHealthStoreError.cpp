#include "mac/Tessel/Health/AppHealthStoreError.h"

#include <fmt/format.h>

#include <utility>

namespace tessel {

AppHealthStoreError::AppHealthStoreError(Kind kind, const std::string& text, std::string operation,
                                         int errnoValue)
    : std::runtime_error(text)
    , kind_(kind)
    , operation_(std::move(operation))
    , errnoValue_(errnoValue) {}

AppHealthStoreError AppHealthStoreError::invalidLimit() {
    return {Kind::invalidLimit, "health store limits must be positive integers", {}, 0};
}

AppHealthStoreError AppHealthStoreError::unableToCreatePrivateFile() {
    return {Kind::unableToCreatePrivateFile, "health store could not create a private file", {}, 0};
}

AppHealthStoreError AppHealthStoreError::posixFailure(std::string_view operation, int errnoValue) {
    return {Kind::posixFailure,
            fmt::format("health store {} failed with errno {}", operation, errnoValue),
            std::string(operation), errnoValue};
}

AppHealthFileError::AppHealthFileError(platform::FileError error)
    : std::runtime_error(error.description())
    , error_(std::move(error)) {}

} // namespace tessel
