#include "ostrad/ScanStore.h"

#include <algorithm>
#include <map>

namespace ostrad {

ScanStore::ScanStore(const std::string& databasePath, WriteTurn& writeTurn)
    : database(databasePath)
    , turn(writeTurn) {}

std::vector<std::int64_t> ScanStore::libraryIds() {
    std::vector<std::int64_t> ids;
    Query rows = database.query("SELECT id FROM libraries ORDER BY id");
    while (rows.next()) {
        ids.push_back(rows.integer(0));
    }
    return ids;
}

std::optional<ScanStore::LibraryRoot> ScanStore::root(std::int64_t library) {
    Query row = database.query("SELECT path, mode FROM libraries WHERE id = ?");
    return row.bind(library).next() ? std::optional(LibraryRoot{row.text(0), row.text(1)})
                                    : std::nullopt;
}

std::unordered_map<std::string, ScanStore::Known> ScanStore::knownFiles(std::int64_t library) {
    std::unordered_map<std::string, Known> files;
    Query rows = database.query("SELECT path, id, size, modified, inode FROM entities "
                                "WHERE library = ? AND path IS NOT NULL");
    rows.bind(library);
    while (rows.next()) {
        files.emplace(rows.text(0), Known{.id = rows.integer(1),
                                          .stamp = {.size = rows.integer(2),
                                                    .modified = rows.integer(3),
                                                    .inode = rows.integer(4)}});
    }
    return files;
}

std::optional<std::int64_t> ScanStore::groupId(std::int64_t library,
                                               const std::vector<Node>& groups) {
    std::optional<std::int64_t> parent;
    for (const Node& group : groups) {
        Query found =
            database.query("SELECT id FROM entities WHERE library = ? AND type = ? AND key = ?");
        if (found.bind(library, group.type, group.key).next()) {
            parent = found.integer(0);
            continue;
        }
        database
            .query("INSERT INTO entities (library, parent, type, key, title, sort, number, year) "
                   "VALUES (?, ?, ?, ?, ?, ?, ?, ?)")
            .bind(library, parent, group.type, group.key, group.title, group.sort, group.number,
                  group.year)
            .run();
        parent = database.lastInsertId();
    }
    return parent;
}

bool ScanStore::put(std::int64_t library, const std::vector<Placed>& files) {
    const WriteTurn::Batch batch(turn);
    Transaction transaction(database);
    if (!root(library)) {
        return false;
    }
    for (const auto& [file, placement] : files) {
        const auto parent = groupId(library, placement.groups);
        const Node& item = placement.item;
        database
            .query(
                "INSERT INTO entities (library, parent, type, key, title, sort, number, year, "
                "path, size, modified, inode, added) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
                "unixepoch()) "
                "ON CONFLICT (library, type, key) DO UPDATE SET parent = excluded.parent, "
                "title = excluded.title, sort = excluded.sort, number = excluded.number, "
                "year = excluded.year, size = excluded.size, modified = excluded.modified, "
                "inode = excluded.inode, duration_ms = NULL, probed = 0, pictured = 0, art = '', "
                "fingerprint = '', summary = ''")
            .bind(library, parent, item.type, item.key, item.title, item.sort, item.number,
                  item.year, file.path, file.stamp.size, file.stamp.modified, file.stamp.inode)
            .run();
    }
    transaction.commit();
    return true;
}

std::int64_t ScanStore::newestId() {
    Query row = database.query("SELECT coalesce(max(id), 0) FROM entities");
    return row.next() ? row.integer(0) : 0;
}

namespace {

// What two items have in common when they are the same; empty when nothing can be said.
constexpr std::string_view likenessOf(ScanStore::Likeness likeness) {
    return likeness == ScanStore::Likeness::stamp
               ? "type || '/' || inode || '/' || size || '/' || modified"
               : "CASE WHEN fingerprint = '' THEN '' ELSE type || '/' || fingerprint END";
}

} // namespace

std::vector<std::int64_t> ScanStore::adoptMoved(std::int64_t library, std::int64_t newest,
                                                const std::vector<std::int64_t>& missing,
                                                Likeness likeness) {
    struct Alike {
        std::vector<std::int64_t> missing;
        std::vector<std::int64_t> added;
    };
    std::map<std::string, Alike> all;
    const std::string key(likenessOf(likeness));
    {
        Query rows = database.query("SELECT id, " + key +
                                    " FROM entities WHERE library = ? AND path IS NOT NULL AND "
                                    "id > ?");
        rows.bind(library, newest);
        while (rows.next()) {
            all[rows.text(1)].added.push_back(rows.integer(0));
        }
    }
    if (all.empty()) {
        return missing;
    }
    for (const std::int64_t id : missing) {
        Query row = database.query("SELECT " + key + " FROM entities WHERE id = ?");
        all[row.bind(id).next() ? row.text(0) : ""].missing.push_back(id);
    }
    const WriteTurn::Batch batch(turn);
    Transaction transaction(database);
    std::vector<std::int64_t> others;
    for (const auto& [same, items] : all) {
        if (same.empty() || items.missing.size() != 1 || items.added.size() != 1) {
            others.insert(others.end(), items.missing.begin(), items.missing.end());
        } else {
            takePlace(items.missing.front(), items.added.front());
        }
    }
    transaction.commit();
    return others;
}

void ScanStore::takePlace(std::int64_t entity, std::int64_t other) {
    // A library has one item of a type and key: the new row is of no type for a moment.
    database.query("UPDATE entities SET type = '' WHERE id = ?").bind(other).run();
    database
        .query("UPDATE entities SET (parent, key, title, sort, number, year, duration_ms, path, "
               "size, modified, inode, probed, fingerprint, summary) = (SELECT parent, key, title, "
               "sort, number, year, duration_ms, path, size, modified, inode, probed, fingerprint, "
               "summary FROM entities WHERE id = ?) WHERE id = ?")
        .bind(other, entity)
        .run();
    database.query("DELETE FROM entities WHERE id = ?").bind(other).run();
}

bool ScanStore::anyFingerprint(const std::vector<std::int64_t>& entities) {
    return std::ranges::any_of(entities, [this](std::int64_t id) {
        Query row = database.query("SELECT 1 FROM entities WHERE id = ? AND fingerprint <> ''");
        return row.bind(id).next();
    });
}

void ScanStore::remove(const std::vector<std::int64_t>& entities) {
    const WriteTurn::Batch batch(turn);
    Transaction transaction(database);
    for (const std::int64_t id : entities) {
        database.query("DELETE FROM entities WHERE id = ?").bind(id).run();
    }
    transaction.commit();
}

void ScanStore::removeEmptyGroups(std::int64_t library) {
    const WriteTurn::Batch batch(turn);
    Transaction transaction(database);
    do {
        // Once more for the groups that this has emptied.
        database
            .query("DELETE FROM entities WHERE library = ? AND path IS NULL AND NOT EXISTS "
                   "(SELECT 1 FROM entities c WHERE c.parent = entities.id)")
            .bind(library)
            .run();
    } while (database.changes() > 0);
    transaction.commit();
}

void ScanStore::finish(std::int64_t library, bool available) {
    const WriteTurn::Batch batch(turn);
    database.query("UPDATE libraries SET available = ?, scanned_at = unixepoch() WHERE id = ?")
        .bind(available ? 1 : 0, library)
        .run();
}

std::int64_t ScanStore::countUnexamined(std::int64_t library) {
    Query row = database.query(
        "SELECT count(*) FROM entities WHERE library = ? AND path IS NOT NULL AND probed = 0");
    return row.bind(library).next() ? row.integer(0) : 0;
}

std::int64_t ScanStore::countUnpictured(std::int64_t library) {
    Query row = database.query(
        "SELECT count(*) FROM entities WHERE library = ? AND path IS NOT NULL AND pictured = 0");
    return row.bind(library).next() ? row.integer(0) : 0;
}

std::vector<ScanStore::Unread> ScanStore::unexamined(std::int64_t library, std::int64_t limit) {
    std::vector<Unread> items;
    Query rows =
        database.query("SELECT id, parent, path, duration_ms FROM entities WHERE library = "
                       "? AND path IS NOT NULL AND probed = 0 ORDER BY sort LIMIT ?");
    rows.bind(library, limit);
    while (rows.next()) {
        items.push_back({rows.integer(0), rows.optionalInteger(1), rows.text(2), rows.integer(3)});
    }
    return items;
}

void ScanStore::useTools(const std::string& tools) {
    const WriteTurn::Batch batch(turn);
    Transaction transaction(database);
    {
        Query known = database.query("SELECT value FROM settings WHERE key = 'tools'");
        if (known.next() && known.text(0) == tools) {
            return;
        }
    }
    database.query("UPDATE entities SET probed = 0 WHERE path IS NOT NULL").run();
    database
        .query("INSERT INTO settings (key, value) VALUES ('tools', ?) "
               "ON CONFLICT (key) DO UPDATE SET value = excluded.value")
        .bind(tools)
        .run();
    transaction.commit();
}

void ScanStore::setExamined(std::int64_t library, std::int64_t entity, const Examined& examined) {
    const WriteTurn::Batch batch(turn);
    Transaction transaction(database);
    if (!root(library)) {
        return;
    }
    database
        .query("UPDATE entities SET probed = 1, duration_ms = ?, fingerprint = ?, summary = ? "
               "WHERE id = ?")
        .bind(examined.durationMs, examined.fingerprint, examined.summary, entity)
        .run();
    if (examined.placement) {
        const auto parent = groupId(library, examined.placement->groups);
        const Node& item = examined.placement->item;
        database
            .query("UPDATE entities SET parent = ?, title = ?, sort = ?, number = ?, year = ? "
                   "WHERE id = ?")
            .bind(parent, item.title, item.sort, item.number, item.year, entity)
            .run();
    }
    transaction.commit();
}

std::vector<ScanStore::Unread> ScanStore::unpictured(std::int64_t library, std::int64_t limit) {
    std::vector<Unread> items;
    Query rows =
        database.query("SELECT id, parent, path, duration_ms FROM entities WHERE library = "
                       "? AND path IS NOT NULL AND pictured = 0 ORDER BY sort LIMIT ?");
    rows.bind(library, limit);
    while (rows.next()) {
        items.push_back({rows.integer(0), rows.optionalInteger(1), rows.text(2), rows.integer(3)});
    }
    return items;
}

std::optional<std::string> ScanStore::artOfSibling(const Unread& item) {
    Query rows = database.query("SELECT art FROM entities WHERE parent = ? AND art <> '' LIMIT 1");
    return rows.bind(item.parentId).next() ? std::optional(rows.text(0)) : std::nullopt;
}

void ScanStore::setArt(std::int64_t entity, const std::string& fileName) {
    const WriteTurn::Batch batch(turn);
    database.query("UPDATE entities SET pictured = 1, art = ? WHERE id = ?")
        .bind(fileName, entity)
        .run();
}

bool ScanStore::isArtUsed(const std::string& fileName) {
    return database.query("SELECT 1 FROM entities WHERE art = ? AND art <> '' LIMIT 1")
        .bind(fileName)
        .next();
}

} // namespace ostrad
