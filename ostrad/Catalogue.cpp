#include "ostrad/Catalogue.h"

#include "ostrad/Modes.h"
#include "ostrad/Schema.h"

#include <fmt/format.h>

#include <algorithm>

namespace ostrad {

namespace {

constexpr std::size_t kMostCounted = 64;

constexpr std::string_view kEntityColumns = R"sql(
SELECT e.id, e.library, e.type, e.title, e.parent, p.title, g.title, e.number, e.year,
       e.duration_ms, e.path, e.size,
       (SELECT count(*) FROM entities c WHERE c.parent = e.id),
       CASE WHEN e.art <> '' THEN e.art ELSE coalesce(
           (SELECT c.art FROM entities c WHERE c.parent = e.id AND c.art <> ''
            ORDER BY c.sort LIMIT 1),
           (SELECT d.art FROM entities c JOIN entities d ON d.parent = c.id
            WHERE c.parent = e.id AND d.art <> '' ORDER BY d.sort LIMIT 1), '') END,
       coalesce(r.position_ms, 0), coalesce(r.watched, 0),
       e.added, e.summary
FROM entities e
LEFT JOIN entities p ON p.id = e.parent
LEFT JOIN entities g ON g.id = p.parent
LEFT JOIN progress r ON r.entity = e.id
)sql";

Entity readEntity(const Query& row) {
    Entity entity;
    entity.id = row.integer(0);
    entity.libraryId = row.integer(1);
    entity.type = row.text(2);
    entity.title = row.text(3);
    entity.parentId = row.optionalInteger(4);
    entity.parentTitle = row.text(5);
    entity.grandparentTitle = row.text(6);
    entity.number = row.optionalInteger(7);
    entity.year = row.optionalInteger(8);
    entity.durationMs = row.optionalInteger(9);
    if (!row.isNull(10)) {
        entity.path = row.text(10);
    }
    entity.size = row.integer(11);
    entity.childCount = row.integer(12);
    entity.art = row.text(13);
    entity.positionMs = row.integer(14);
    entity.watched = row.integer(15) != 0;
    entity.added = row.integer(16);
    entity.summary = row.text(17);
    return entity;
}

bool contains(std::string_view folder, std::string_view other) {
    if (!other.starts_with(folder)) {
        return false;
    }
    return other.size() == folder.size() || folder.ends_with('/') || other[folder.size()] == '/';
}

// The text as a LIKE pattern that matches it anywhere, with '\' as the escape.
std::string likePattern(std::string_view text) {
    std::string pattern = "%";
    for (const char c : text) {
        if (c == '%' || c == '_' || c == '\\') {
            pattern += '\\';
        }
        pattern += c;
    }
    return pattern + "%";
}

} // namespace

Catalogue::Catalogue(const std::string& databasePath)
    : databaseFile(databasePath)
    , database(databasePath) {
    prepareSchema(database);
}

std::vector<Library> Catalogue::libraries() {
    std::vector<Library> found;
    Query rows = database.query("SELECT id, mode, name, path, available, scanned_at FROM libraries "
                                "ORDER BY mode, name COLLATE NOCASE, id");
    while (rows.next()) {
        Library library{.id = rows.integer(0),
                        .modeId = rows.text(1),
                        .name = rows.text(2),
                        .path = rows.text(3),
                        .available = rows.integer(4) != 0,
                        .scannedAt = rows.optionalInteger(5)};
        if (const Mode* const mode = findMode(library.modeId)) {
            library.itemCount = countOf(mode->itemType, library.id);
        }
        found.push_back(std::move(library));
    }
    return found;
}

std::optional<Library> Catalogue::library(std::int64_t id) {
    for (Library& library : libraries()) {
        if (library.id == id) {
            return std::move(library);
        }
    }
    return std::nullopt;
}

std::expected<Library, std::string>
Catalogue::addLibrary(std::string_view modeId, std::string_view name, std::string_view path) {
    Transaction transaction(database);
    for (const Library& known : libraries()) {
        if (known.modeId != modeId) {
            continue;
        }
        if (known.path == path) {
            return std::unexpected(
                fmt::format("This folder is already the library \"{}\".", known.name));
        }
        if (contains(known.path, path) || contains(path, known.path)) {
            return std::unexpected(fmt::format("This folder overlaps the library \"{}\" ({}).",
                                               known.name, known.path));
        }
    }
    database.query("INSERT INTO libraries (mode, name, path) VALUES (?, ?, ?)")
        .bind(modeId, name, path)
        .run();
    const std::int64_t id = database.lastInsertId();
    transaction.commit();
    return Library{.id = id,
                   .modeId = std::string(modeId),
                   .name = std::string(name),
                   .path = std::string(path),
                   .scannedAt = std::nullopt};
}

bool Catalogue::removeLibrary(std::int64_t id) {
    database.query("DELETE FROM libraries WHERE id = ?").bind(id).run();
    return database.changes() > 0;
}

EntityPage Catalogue::entities(const EntityQuery& wanted) {
    // The texts differ only in which conditions are present, so each is compiled once. The first
    // condition always holds; it makes parameters 1 to 4 exist whichever others do.
    std::string where = " WHERE ?4 IS NOT NULL";
    where += wanted.type.empty() ? "" : " AND e.type = ?1";
    where += wanted.libraryId ? " AND e.library = ?2" : "";
    where += wanted.parentId ? " AND e.parent = ?3" : "";
    where += wanted.search.empty() ? "" : " AND e.title LIKE ?4 ESCAPE '\\'";
    const std::string pattern = likePattern(wanted.search);

    const Snapshot snapshot(database);
    EntityPage page;
    page.total = total(wanted, where, pattern);
    const std::int64_t before = std::min(wanted.offset, page.total);
    const std::int64_t count = std::min(wanted.limit, page.total - before);
    const std::int64_t after = page.total - before - count;
    // The rows of the page are chosen from an index first: passing over the others would look up
    // all that belongs to each. Even so each one costs a step, so it begins at the nearer end.
    const bool isForward = before <= after;
    Query rows = database.query(
        std::string(kEntityColumns) + " WHERE e.id IN (SELECT e.id FROM entities e" + where +
        (isForward ? " ORDER BY e.sort, e.id" : " ORDER BY e.sort DESC, e.id DESC") +
        " LIMIT ?5 OFFSET ?6) ORDER BY e.sort, e.id");
    rows.bind(wanted.type, wanted.libraryId, wanted.parentId, pattern, count,
              isForward ? before : after);
    while (rows.next()) {
        page.entities.push_back(readEntity(rows));
    }
    return page;
}

std::int64_t Catalogue::countOf(std::string_view type, std::optional<std::int64_t> library) {
    Query row = database.query("SELECT coalesce(sum(entities), 0) FROM counts "
                               "WHERE type = ?1 AND (?2 IS NULL OR library = ?2)");
    return row.bind(type, library).next() ? row.integer(0) : 0;
}

// What is kept only for types and libraries is counted for the rest, which takes longer than
// reading a page, and pages are asked for one after the other.
std::int64_t Catalogue::total(const EntityQuery& wanted, const std::string& where,
                              const std::string& pattern) {
    if (!wanted.type.empty() && !wanted.parentId && wanted.search.empty()) {
        return countOf(wanted.type, wanted.libraryId);
    }
    const auto version = database.version();
    if (version != countedVersion) {
        counted.clear();
        countedVersion = version;
    }
    const auto key = std::tuple(wanted.type, wanted.libraryId, wanted.parentId, wanted.search);
    if (const auto known = counted.find(key); known != counted.end()) {
        return known->second;
    }
    Query count = database.query("SELECT count(*) FROM entities e" + where);
    count.bind(wanted.type, wanted.libraryId, wanted.parentId, pattern).next();
    if (counted.size() >= kMostCounted) {
        counted.clear();
    }
    return counted[key] = count.integer(0);
}

std::optional<Entity> Catalogue::entity(std::int64_t id) {
    Query rows = database.query(std::string(kEntityColumns) + " WHERE e.id = ?");
    if (!rows.bind(id).next()) {
        return std::nullopt;
    }
    return readEntity(rows);
}

std::optional<MediaFile> Catalogue::mediaFile(std::int64_t entityId) {
    Query rows = database.query("SELECT l.path, e.path, l.mode FROM entities e "
                                "JOIN libraries l ON l.id = e.library "
                                "WHERE e.id = ? AND e.path IS NOT NULL");
    if (!rows.bind(entityId).next()) {
        return std::nullopt;
    }
    return MediaFile{rows.text(0), rows.text(1), rows.text(2)};
}

bool Catalogue::setProgress(std::int64_t entityId, std::int64_t positionMs,
                            std::optional<bool> watched) {
    Transaction transaction(database);
    Query item = database.query("SELECT e.duration_ms, coalesce(r.watched, 0) FROM entities e "
                                "LEFT JOIN progress r ON r.entity = e.id "
                                "WHERE e.id = ? AND e.path IS NOT NULL");
    if (!item.bind(entityId).next()) {
        return false;
    }
    // The last twentieth is the credits.
    const std::int64_t duration = item.optionalInteger(0).value_or(0);
    const bool atEnd = duration > 0 && positionMs > duration - duration / 20;
    const bool isWatched = watched.value_or(atEnd || item.integer(1) != 0);
    database
        .query("INSERT INTO progress (entity, position_ms, watched, updated) "
               "VALUES (?, ?, ?, unixepoch()) ON CONFLICT (entity) DO UPDATE SET "
               "position_ms = excluded.position_ms, watched = excluded.watched, "
               "updated = excluded.updated")
        .bind(entityId, atEnd ? std::int64_t{0} : positionMs, isWatched ? 1 : 0)
        .run();
    transaction.commit();
    return true;
}

std::optional<std::string> Catalogue::setting(std::string_view key) {
    Query rows = database.query("SELECT value FROM settings WHERE key = ?");
    return rows.bind(key).next() ? std::optional(rows.text(0)) : std::nullopt;
}

void Catalogue::setSetting(std::string_view key, std::string_view value) {
    database
        .query("INSERT INTO settings (key, value) VALUES (?, ?) "
               "ON CONFLICT (key) DO UPDATE SET value = excluded.value")
        .bind(key, value)
        .run();
}

void Catalogue::removeSetting(std::string_view key) {
    database.query("DELETE FROM settings WHERE key = ?").bind(key).run();
}

} // namespace ostrad
