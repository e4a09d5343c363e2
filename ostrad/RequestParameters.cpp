#include "ostrad/RequestParameters.h"

#include "ostrad/Modes.h"
#include "ostrad/Naming.h"

#include <fmt/format.h>

#include <charconv>

namespace ostrad {

namespace {

constexpr std::int64_t kMostEntities = 500;

} // namespace

std::optional<std::int64_t> wholeNumber(std::string_view text, std::int64_t most) {
    std::int64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stoppedAt, error] = std::from_chars(text.data(), end, value);
    const bool valid = !text.empty() && error == std::errc{} && stoppedAt == end;
    return valid && value >= 0 && value <= most && text.front() != '-' ? std::optional(value)
                                                                       : std::nullopt;
}

std::expected<EntityQuery, ApiError>
entityQuery(const std::vector<std::pair<std::string, std::string>>& parameters) {
    EntityQuery query;
    const auto bad = [](std::string sentence) {
        return std::unexpected(ApiError{400, std::move(sentence)});
    };
    for (const auto& [name, value] : parameters) {
        std::optional<std::int64_t> parsed;
        if (name == "type") {
            if (findEntityType(value) == nullptr) {
                return bad(fmt::format("There is no entity type \"{}\".", validUtf8(value)));
            }
            query.type = value;
        } else if (name == "limit") {
            if (!(parsed = wholeNumber(value, kMostEntities))) {
                return bad(fmt::format("limit must be a number from 0 to {}.", kMostEntities));
            }
            query.limit = *parsed;
        } else if (name == "offset") {
            if (!(parsed = wholeNumber(value))) {
                return bad("offset must be a number from 0 up.");
            }
            query.offset = *parsed;
        } else if (name == "libraryId" || name == "parentId") {
            if (!(parsed = wholeNumber(value))) {
                return bad(fmt::format("{} must be a number.", name));
            }
            (name == "libraryId" ? query.libraryId : query.parentId) = parsed;
        } else if (name == "inLibrary") {
            // Every entity belongs to a library, so both values select the same.
            if (value != "0" && value != "1") {
                return bad("inLibrary must be 0 or 1.");
            }
        } else if (name == "search") {
            query.search = validUtf8(value);
        }
    }
    if (query.type.empty() && !query.parentId && query.search.empty()) {
        return bad("type is required unless parentId or search is given.");
    }
    return query;
}

} // namespace ostrad
