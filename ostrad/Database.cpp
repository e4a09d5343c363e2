#include "ostrad/Database.h"

#include "ostrad/UniqueFd.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace ostrad {

namespace {

constexpr int kBusyMilliseconds = 5000;

[[noreturn]] void fail(sqlite3* connection) {
    throw DatabaseError(fmt::format("database: {}", sqlite3_errmsg(connection)));
}

// SQLite would create the file with the process's default mode; it is ours before it exists.
void createPrivateFile(const std::string& path) {
    const UniqueFd file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0600));
    struct stat status{};
    if (!file || ::fstat(file.get(), &status) != 0) {
        throw DatabaseError(
            fmt::format("cannot open the database {}: {}", path, std::strerror(errno)));
    }
    if (!S_ISREG(status.st_mode)) {
        throw DatabaseError(fmt::format("cannot open the database {}: not a file", path));
    }
    if ((status.st_mode & 077) != 0) {
        static_cast<void>(::fchmod(file.get(), 0600));
    }
}

} // namespace

Query::Query(sqlite3* database, sqlite3_stmt* prepared)
    : connection(database)
    , statement(prepared) {}

Query::~Query() {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
}

bool Query::next() {
    const int result = sqlite3_step(statement);
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        fail(connection);
    }
    return result == SQLITE_ROW;
}

void Query::run() {
    while (next()) {
    }
}

std::int64_t Query::integer(int column) const {
    return sqlite3_column_int64(statement, column);
}

std::string Query::text(int column) const {
    const void* const bytes = sqlite3_column_blob(statement, column);
    const int size = sqlite3_column_bytes(statement, column);
    return bytes == nullptr
               ? std::string()
               : std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

bool Query::isNull(int column) const {
    return sqlite3_column_type(statement, column) == SQLITE_NULL;
}

std::optional<std::int64_t> Query::optionalInteger(int column) const {
    return isNull(column) ? std::nullopt : std::optional(integer(column));
}

void Query::bindNext(std::int64_t value) {
    if (sqlite3_bind_int64(statement, ++boundCount, value) != SQLITE_OK) {
        fail(connection);
    }
}

void Query::bindNext(std::string_view value) {
    const char* const data = value.data() == nullptr ? "" : value.data();
    if (sqlite3_bind_text64(statement, ++boundCount, data, value.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8) != SQLITE_OK) {
        fail(connection);
    }
}

void Query::bindNext(std::nullptr_t) {
    if (sqlite3_bind_null(statement, ++boundCount) != SQLITE_OK) {
        fail(connection);
    }
}

Database::Database(const std::string& path) {
    createPrivateFile(path);
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &opened,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    connection.reset(opened);
    if (result != SQLITE_OK) {
        throw DatabaseError(
            fmt::format("cannot open the database {}: {}", path,
                        opened == nullptr ? "out of memory" : sqlite3_errmsg(opened)));
    }
    sqlite3_busy_timeout(opened, kBusyMilliseconds);
    try {
        execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
                "PRAGMA foreign_keys = ON; PRAGMA trusted_schema = OFF;");
    } catch (const DatabaseError&) {
        throw DatabaseError(
            fmt::format("cannot use the database {}: {}", path, sqlite3_errmsg(opened)));
    }
}

Database::~Database() = default;

void Database::Close::operator()(sqlite3* opened) const {
    sqlite3_close(opened);
}

void Database::Finalize::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

void Database::execute(const char* sql) {
    if (sqlite3_exec(connection.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail(connection.get());
    }
}

Query Database::query(std::string_view sql) {
    auto& cached = statements[std::string(sql)];
    if (!cached) {
        sqlite3_stmt* prepared = nullptr;
        if (sqlite3_prepare_v3(connection.get(), sql.data(), static_cast<int>(sql.size()),
                               SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) != SQLITE_OK) {
            fail(connection.get());
        }
        cached.reset(prepared);
    }
    return {connection.get(), cached.get()};
}

std::int64_t Database::lastInsertId() const {
    return sqlite3_last_insert_rowid(connection.get());
}

std::int64_t Database::changes() const {
    return sqlite3_changes64(connection.get());
}

Database::Version Database::version() {
    Query others = query("PRAGMA data_version");
    return {others.next() ? others.integer(0) : 0, sqlite3_total_changes64(connection.get())};
}

void Database::interrupt() {
    sqlite3_interrupt(connection.get());
}

Snapshot::Snapshot(Database& source)
    : database(source) {
    database.execute("BEGIN");
}

Snapshot::~Snapshot() {
    try {
        database.execute("COMMIT"); // nothing was written
    } catch (const DatabaseError&) {
        // SQLite has ended it by itself.
    }
}

Transaction::Transaction(Database& target)
    : database(target) {
    database.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    if (open) {
        try {
            database.execute("ROLLBACK");
        } catch (const DatabaseError&) {
            // SQLite has rolled it back by itself.
        }
    }
}

void Transaction::commit() {
    database.execute("COMMIT");
    open = false;
}

} // namespace ostrad
