#include "mac/Tessel/Health/AppHealthValidationError.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace tessel {

AppHealthValidationError::AppHealthValidationError(std::vector<std::string> errors)
    : std::runtime_error(
          fmt::format("health-report validation failed: {}", fmt::join(errors, "; ")))
    , errors_(std::move(errors)) {}

} // namespace tessel
