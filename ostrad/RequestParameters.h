#pragma once

#include "ostrad/Catalogue.h"
#include "ostrad/Replies.h"

#include <cstdint>
#include <expected>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ostrad {

// What stands in a request's address, read as what the API asks for. Pure.

// Digits alone, from 0 to `most`.
std::optional<std::int64_t>
wholeNumber(std::string_view text, std::int64_t most = std::numeric_limits<std::int64_t>::max());

// The query of /api/entities; what it does not know is passed over.
std::expected<EntityQuery, ApiError>
entityQuery(const std::vector<std::pair<std::string, std::string>>& parameters);

} // namespace ostrad
