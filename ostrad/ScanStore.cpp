#include "ostrad/ScanStore.h"

#include <map>
#include <tuple>

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
            .query("INSERT INTO entities (library, parent, type, key, title, sort, number, year, "
                   "path, size, modified, inode) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) "
                   "ON CONFLICT (library, type, key) DO UPDATE SET parent = excluded.parent, "
                   "title = excluded.title, sort = excluded.sort, number = excluded.number, "
                   "year = excluded.year, size = excluded.size, modified = excluded.modified, "
                   "inode = excluded.inode, duration_ms = NULL, probed = 0, pictured = 0, art = ''")
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

std::vector<std::int64_t> ScanStore::adoptMoved(std::int64_t library, std::int64_t newest,
                                                const std::vector<std::int64_t>& missing) {
    using Content = std::tuple<std::string, std::int64_t, std::int64_t, std::int64_t>;
    std::map<Content, std::vector<std::int64_t>> added;
    {
        Query rows = database.query("SELECT id, type, inode, size, modified FROM entities "
                                    "WHERE library = ? AND path IS NOT NULL AND id > ?");
        rows.bind(library, newest);
        while (rows.next()) {
            added[{rows.text(1), rows.integer(2), rows.integer(3), rows.integer(4)}].push_back(
                rows.integer(0));
        }
    }
    if (added.empty()) {
        return missing;
    }
    const WriteTurn::Batch batch(turn);
    Transaction transaction(database);
    std::vector<std::int64_t> others;
    for (const std::int64_t id : missing) {
        Query old = database.query("SELECT type, inode, size, modified FROM entities WHERE id = ?");
        const auto found =
            old.bind(id).next()
                ? added.find({old.text(0), old.integer(1), old.integer(2), old.integer(3)})
                : added.end();
        if (found == added.end() || found->second.size() != 1) {
            others.push_back(id);
            continue;
        }
        const std::int64_t other = found->second.front();
        added.erase(found);
        struct {
            std::optional<std::int64_t> parent;
            std::string key;
            std::string title;
            std::string sort;
            std::optional<std::int64_t> number;
            std::optional<std::int64_t> year;
            std::string path;
        } item;
        {
            Query row = database.query("SELECT parent, key, title, sort, number, year, path "
                                       "FROM entities WHERE id = ?");
            row.bind(other).next();
            item.parent = row.optionalInteger(0);
            item.key = row.text(1);
            item.title = row.text(2);
            item.sort = row.text(3);
            item.number = row.optionalInteger(4);
            item.year = row.optionalInteger(5);
            item.path = row.text(6);
        }
        // The new row makes room first: a library has one item of a key. Tags are read again, since
        // they may place the item elsewhere than its new path does.
        database.query("DELETE FROM entities WHERE id = ?").bind(other).run();
        database
            .query("UPDATE entities SET parent = ?, key = ?, title = ?, sort = ?, number = ?, "
                   "year = ?, path = ?, probed = 0 WHERE id = ?")
            .bind(item.parent, item.key, item.title, item.sort, item.number, item.year, item.path,
                  id)
            .run();
    }
    transaction.commit();
    return others;
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

std::vector<ScanStore::Unread> ScanStore::unprobed(std::int64_t library, std::int64_t limit) {
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

void ScanStore::setProbe(std::int64_t library, std::int64_t entity,
                         std::optional<std::int64_t> durationMs,
                         const std::optional<Placement>& placement) {
    const WriteTurn::Batch batch(turn);
    Transaction transaction(database);
    if (!root(library)) {
        return;
    }
    database.query("UPDATE entities SET probed = 1, duration_ms = ? WHERE id = ?")
        .bind(durationMs, entity)
        .run();
    if (placement) {
        const auto parent = groupId(library, placement->groups);
        const Node& item = placement->item;
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
