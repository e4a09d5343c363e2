#include "mac/OstraCore/LibraryReplies.h"

#include "mac/OstraCore/JsonReply.h"

#include <charconv>
#include <system_error>
#include <utility>

namespace ostra {

namespace json = boost::json;

namespace {

bool isAbsent(const json::object& object, std::string_view name) {
    const json::value* const member = object.if_contains(name);
    return member == nullptr || member->is_null();
}

template <typename Record>
std::optional<std::vector<Record>>
decodeArray(const json::value* value, std::optional<Record> (*decode)(const json::object&)) {
    const json::array* const array = value == nullptr ? nullptr : value->if_array();
    if (array == nullptr) {
        return std::nullopt;
    }
    std::vector<Record> records;
    for (const json::value& element : *array) {
        const json::object* const object = element.if_object();
        auto record = object == nullptr ? std::nullopt : decode(*object);
        if (!record) {
            return std::nullopt;
        }
        records.push_back(*std::move(record));
    }
    return records;
}

std::optional<EntityTypeDTO> decodeEntityType(const json::object& object) {
    auto id = stringMember(object, "id");
    auto name = stringMember(object, "name");
    auto plural = stringMember(object, "plural");
    const auto isPerson = boolMember(object, "isPerson");
    if (!id || !name || (!plural && !isAbsent(object, "plural")) ||
        (!isPerson && !isAbsent(object, "isPerson"))) {
        return std::nullopt;
    }
    return EntityTypeDTO{.id = *std::move(id),
                         .name = *std::move(name),
                         .plural = std::move(plural),
                         .isPerson = isPerson.value_or(false)};
}

std::optional<ModeDTO> decodeMode(const json::object& object) {
    auto id = stringMember(object, "id");
    auto name = stringMember(object, "name");
    auto types = decodeArray(object.if_contains("entityTypes"), &decodeEntityType);
    if (!id || !name || !types) {
        return std::nullopt;
    }
    return ModeDTO{
        .id = *std::move(id), .name = *std::move(name), .entityTypes = *std::move(types)};
}

std::optional<LibraryDTO> decodeLibrary(const json::object& object) {
    auto modeId = stringMember(object, "modeId");
    return modeId ? std::optional(LibraryDTO{.modeId = *std::move(modeId)}) : std::nullopt;
}

} // namespace

std::optional<std::vector<ModeDTO>> parseModes(std::string_view data) {
    const auto reply = parseReply(data);
    return decodeArray(reply ? &*reply : nullptr, &decodeMode);
}

std::optional<std::vector<LibraryDTO>> parseLibraries(std::string_view data) {
    const auto reply = parseReply(data);
    return decodeArray(reply ? &*reply : nullptr, &decodeLibrary);
}

std::optional<std::int64_t> parseTotal(std::string_view field) {
    if (field.starts_with('+')) {
        field.remove_prefix(1);
        if (field.starts_with('-')) {
            return std::nullopt;
        }
    }
    std::int64_t total = 0;
    const char* const end = field.data() + field.size();
    const auto [rest, error] = std::from_chars(field.data(), end, total);
    return error == std::errc() && rest == end ? std::optional(total) : std::nullopt;
}

} // namespace ostra
