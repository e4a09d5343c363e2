#include "ostrad/ApiJson.h"

#include "ostrad/Naming.h"

#include <fmt/format.h>

#include <algorithm>

namespace ostrad {

namespace json = boost::json;

namespace {

json::string text(std::string_view bytes) {
    const std::string valid = validUtf8(bytes);
    return json::string(valid.data(), valid.size());
}

void setIfKnown(json::object& object, const char* name, const std::optional<std::int64_t>& value) {
    if (value) {
        object[name] = *value;
    }
}

json::object mediaJson(const Entity& entity, const FileKind& kind) {
    return {{"url", text(fmt::format("/media/{}", entity.id))},
            {"kind", text(mediaKindName(kind.kind))},
            {"contentType", text(kind.contentType)},
            {"size", entity.size}};
}

} // namespace

json::array modesJson(std::span<const Mode> all) {
    json::array result;
    for (const Mode& mode : all) {
        json::array types;
        for (const EntityType& type : mode.entityTypes) {
            types.push_back(json::object{{"id", text(type.id)},
                                         {"name", text(type.name)},
                                         {"plural", text(type.plural)},
                                         {"isPerson", type.isPerson}});
        }
        result.push_back(json::object{{"id", text(mode.id)},
                                      {"name", text(mode.name)},
                                      {"itemType", text(mode.itemType)},
                                      {"entityTypes", std::move(types)}});
    }
    return result;
}

json::object libraryJson(const Library& library, const ScanProgress& scan) {
    json::object object{
        {"id", library.id},
        {"modeId", text(library.modeId)},
        {"name", text(library.name)},
        {"path", text(library.path)},
        {"itemCount", library.itemCount},
        {"available", library.available},
        {"scanning", scan.libraryId == library.id ||
                         std::ranges::find(scan.queued, library.id) != scan.queued.end()}};
    setIfKnown(object, "scannedAt", library.scannedAt);
    return object;
}

json::object entityJson(const Entity& entity) {
    json::object object{{"id", entity.id},
                        {"type", text(entity.type)},
                        {"title", text(entity.title)},
                        {"libraryId", entity.libraryId},
                        {"childCount", entity.childCount}};
    setIfKnown(object, "parentId", entity.parentId);
    setIfKnown(object, "number", entity.number);
    setIfKnown(object, "year", entity.year);
    if (entity.parentId) {
        object["parentTitle"] = text(entity.parentTitle);
    }
    if (!entity.grandparentTitle.empty()) {
        object["grandparentTitle"] = text(entity.grandparentTitle);
    }
    if (entity.durationMs) {
        object["durationMs"] = *entity.durationMs;
    }
    if (entity.positionMs > 0) {
        object["positionMs"] = entity.positionMs;
    }
    if (entity.watched) {
        object["watched"] = true;
    }
    if (entity.added > 0) {
        object["addedAt"] = entity.added;
    }
    if (!entity.summary.empty()) {
        object["summary"] = text(entity.summary);
    }
    if (!entity.art.empty()) {
        object["artUrl"] = text("/art/" + entity.art);
    }
    const Mode* const mode = findMode(entity.type.substr(0, entity.type.find('.')));
    if (entity.path && mode != nullptr) {
        const FileKind* const kind = fileKind(*mode, *entity.path);
        if (kind != nullptr) {
            object["media"] = mediaJson(entity, *kind);
        }
    }
    return object;
}

json::object progressJson(const ScanProgress& scan) {
    json::array queued;
    for (const std::int64_t id : scan.queued) {
        queued.push_back(id);
    }
    json::object object{{"scanning", scan.phase != ScanProgress::Phase::idle},
                        {"phase", text(phaseName(scan.phase))},
                        {"filesSeen", scan.filesSeen},
                        {"changes", scan.changes},
                        {"done", scan.done},
                        {"total", scan.total},
                        {"revision", scan.revision},
                        {"queued", std::move(queued)}};
    if (scan.libraryId != 0) {
        object["libraryId"] = scan.libraryId;
    }
    return object;
}

json::object foldersJson(const FolderListing& listing) {
    json::array names;
    for (const std::string& name : listing.names) {
        names.push_back(text(name));
    }
    json::object object{{"path", text(listing.path)}, {"folders", std::move(names)}};
    if (listing.parent) {
        object["parent"] = text(*listing.parent);
    }
    return object;
}

} // namespace ostrad
