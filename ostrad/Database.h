#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

struct sqlite3;
struct sqlite3_stmt;

namespace ostrad {

// One SQLite connection in WAL mode with foreign keys, and its prepared statements, each compiled
// once. A connection belongs to one thread at a time; several connections to one file may be open.
// The file is created with mode 0600, and what SQLite puts beside it takes the same mode. Every
// failure is a DatabaseError whose text is a sentence.

class DatabaseError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A prepared statement in use. It goes back to the connection, reset, when this ends; two uses of
// one text must not overlap.
class Query {
  public:
    Query(sqlite3* database, sqlite3_stmt* prepared);
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;
    ~Query();

    template <class... Values>
    Query& bind(const Values&... values) {
        (bindNext(values), ...);
        return *this;
    }

    bool next(); // the next row, if there is one
    void run();  // to the end

    [[nodiscard]] std::int64_t integer(int column) const;
    [[nodiscard]] std::string text(int column) const;
    [[nodiscard]] bool isNull(int column) const;
    [[nodiscard]] std::optional<std::int64_t> optionalInteger(int column) const;

  private:
    void bindNext(std::int64_t value);
    void bindNext(int value) { bindNext(static_cast<std::int64_t>(value)); }
    void bindNext(std::string_view value);
    void bindNext(const std::string& value) { bindNext(std::string_view(value)); }
    void bindNext(const char* value) { bindNext(std::string_view(value)); }
    void bindNext(std::nullptr_t);
    template <class Value>
    void bindNext(const std::optional<Value>& value) {
        if (value) {
            bindNext(*value);
        } else {
            bindNext(nullptr);
        }
    }

    sqlite3* connection;
    sqlite3_stmt* statement;
    int boundCount = 0;
};

class Database {
  public:
    explicit Database(const std::string& path);
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database(); // the last connection to close folds the write-ahead log back into the file

    void execute(const char* sql);
    Query query(std::string_view sql);
    [[nodiscard]] std::int64_t lastInsertId() const;
    [[nodiscard]] std::int64_t changes() const;

    // Another value after every change to the file, whichever connection made it.
    using Version = std::pair<std::int64_t, std::int64_t>;
    Version version();

    // Makes a running statement of this connection fail; the one call allowed from another thread.
    void interrupt();

  private:
    struct Close {
        void operator()(sqlite3* opened) const;
    };
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };

    std::unique_ptr<sqlite3, Close> connection;
    std::unordered_map<std::string, std::unique_ptr<sqlite3_stmt, Finalize>> statements;
};

// What is read while this lives is from one moment, whoever writes meanwhile.
class Snapshot {
  public:
    explicit Snapshot(Database& source);
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;
    ~Snapshot();

  private:
    Database& database;
};

// Begins a write transaction at once and rolls it back unless commit() was called.
class Transaction {
  public:
    explicit Transaction(Database& target);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();

    void commit();

  private:
    Database& database;
    bool open = true;
};

} // namespace ostrad
