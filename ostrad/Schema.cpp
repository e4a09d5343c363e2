#include "ostrad/Schema.h"

#include <array>

namespace ostrad {

namespace {

// migrations[n] leads from version n to version n + 1. Only ever append.
constexpr std::array<const char*, 4> kMigrations{
    R"sql(
CREATE TABLE libraries (
    id         INTEGER PRIMARY KEY AUTOINCREMENT,
    mode       TEXT    NOT NULL,
    name       TEXT    NOT NULL,
    path       TEXT    NOT NULL,
    available  INTEGER NOT NULL DEFAULT 1,
    scanned_at INTEGER,
    UNIQUE (mode, path)
);
CREATE TABLE entities (
    id          INTEGER PRIMARY KEY AUTOINCREMENT,
    library     INTEGER NOT NULL REFERENCES libraries (id) ON DELETE CASCADE,
    parent      INTEGER REFERENCES entities (id) ON DELETE CASCADE,
    type        TEXT    NOT NULL,
    key         TEXT    NOT NULL,
    title       TEXT    NOT NULL,
    sort        TEXT    NOT NULL,
    number      INTEGER,
    year        INTEGER,
    duration_ms INTEGER,
    path        TEXT,
    size        INTEGER NOT NULL DEFAULT 0,
    modified    INTEGER NOT NULL DEFAULT 0,
    inode       INTEGER NOT NULL DEFAULT 0,
    probed      INTEGER NOT NULL DEFAULT 0,
    pictured    INTEGER NOT NULL DEFAULT 0,
    art         TEXT    NOT NULL DEFAULT '',
    UNIQUE (library, type, key)
);
CREATE INDEX entities_by_type ON entities (type, sort);
CREATE INDEX entities_by_library ON entities (library, type, sort);
CREATE INDEX entities_by_parent ON entities (parent, sort);
CREATE INDEX entities_by_art ON entities (art) WHERE art <> '';
CREATE INDEX entities_unprobed ON entities (library, sort) WHERE path IS NOT NULL AND probed = 0;
CREATE INDEX entities_unpictured ON entities (library, sort)
    WHERE path IS NOT NULL AND pictured = 0;
CREATE TABLE settings (
    key   TEXT PRIMARY KEY,
    value TEXT NOT NULL
) WITHOUT ROWID;
)sql",
    R"sql(
CREATE TABLE progress (
    entity      INTEGER PRIMARY KEY REFERENCES entities (id) ON DELETE CASCADE,
    position_ms INTEGER NOT NULL,
    watched     INTEGER NOT NULL,
    updated     INTEGER NOT NULL
);
)sql",
    R"sql(
ALTER TABLE entities ADD COLUMN added       INTEGER NOT NULL DEFAULT 0;
ALTER TABLE entities ADD COLUMN fingerprint TEXT    NOT NULL DEFAULT '';
ALTER TABLE entities ADD COLUMN summary     TEXT    NOT NULL DEFAULT '';
)sql",
    // How many there are, so that a page need not count them; and the pictures that stand for
    // groups.
    R"sql(
CREATE TABLE counts (
    library  INTEGER NOT NULL REFERENCES libraries (id) ON DELETE CASCADE,
    type     TEXT    NOT NULL,
    entities INTEGER NOT NULL,
    PRIMARY KEY (library, type)
) WITHOUT ROWID;
INSERT INTO counts SELECT library, type, count(*) FROM entities GROUP BY library, type;
CREATE TRIGGER count_added AFTER INSERT ON entities BEGIN
    INSERT INTO counts VALUES (new.library, new.type, 1)
    ON CONFLICT (library, type) DO UPDATE SET entities = entities + 1;
END;
CREATE TRIGGER count_removed AFTER DELETE ON entities BEGIN
    UPDATE counts SET entities = entities - 1 WHERE library = old.library AND type = old.type;
END;
CREATE TRIGGER count_changed AFTER UPDATE OF type ON entities BEGIN
    UPDATE counts SET entities = entities - 1 WHERE library = old.library AND type = old.type;
    INSERT INTO counts VALUES (new.library, new.type, 1)
    ON CONFLICT (library, type) DO UPDATE SET entities = entities + 1;
END;
CREATE INDEX entities_with_art ON entities (parent, sort, art) WHERE art <> '';
)sql",
};

std::int64_t readNumber(Database& database, const char* sql) {
    Query query = database.query(sql);
    return query.next() ? query.integer(0) : 0;
}

} // namespace

void prepareSchema(Database& database) {
    Transaction transaction(database);
    const auto version = readNumber(database, "PRAGMA user_version");
    const auto newest = static_cast<std::int64_t>(kMigrations.size());
    if (version < 0 || version > newest) {
        throw DatabaseError("the database was written by a newer version of this server");
    }
    if (version == 0 && readNumber(database, "SELECT count(*) FROM sqlite_schema") > 0) {
        throw DatabaseError("the database belongs to another application");
    }
    for (auto next = static_cast<std::size_t>(version); next < kMigrations.size(); ++next) {
        database.execute(kMigrations[next]);
    }
    if (version < newest) {
        database.execute(("PRAGMA user_version = " + std::to_string(newest)).c_str());
    }
    transaction.commit();
}

} // namespace ostrad
