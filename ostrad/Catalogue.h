#pragma once

#include "ostrad/Database.h"

#include <cstdint>
#include <expected>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace ostrad {

// The catalogue as the API reads it: libraries, the entities found in them, and the server's own
// settings. It wraps one database connection and belongs to that connection's thread. Functions
// throw DatabaseError; a request that cannot be met is a value.

struct Library {
    std::int64_t id = 0;
    std::string modeId;
    std::string name;
    std::string path; // absolute, free of symbolic links when it was added
    std::int64_t itemCount = 0;
    bool available = true;                 // the folder could be read at the last scan
    std::optional<std::int64_t> scannedAt; // seconds since the epoch
};

struct Entity {
    std::int64_t id = 0;
    std::int64_t libraryId = 0;
    std::string type;
    std::string title;
    std::optional<std::int64_t> parentId;
    std::string parentTitle;      // empty without a parent
    std::string grandparentTitle; // empty without one
    std::optional<std::int64_t> number;
    std::optional<std::int64_t> year;
    std::optional<std::int64_t> durationMs;
    std::optional<std::string> path; // relative to the library; items only
    std::int64_t size = 0;
    std::int64_t childCount = 0;
    std::string art;             // file name in the artwork folder; empty without
    std::int64_t positionMs = 0; // where playing is to go on; 0: at the start
    bool watched = false;        // or heard, or read
    std::int64_t added = 0;      // seconds since the epoch; 0 for groups, and when it is not known
    std::string summary;
};

struct EntityQuery {
    std::string type = {}; // empty: every type
    std::optional<std::int64_t> libraryId = {};
    std::optional<std::int64_t> parentId = {};
    std::string search = {}; // part of the title, ASCII case ignored
    std::int64_t limit = 100;
    std::int64_t offset = 0;
};

struct EntityPage {
    std::int64_t total = 0; // before limit and offset
    std::vector<Entity> entities;
};

struct MediaFile {
    std::string libraryPath;
    std::string path; // relative
    std::string modeId;
};

class Catalogue {
  public:
    // Brings the schema of the file up to date first.
    explicit Catalogue(const std::string& databasePath);

    [[nodiscard]] const std::string& path() const { return databaseFile; }

    std::vector<Library> libraries();
    std::optional<Library> library(std::int64_t id);

    // The path is canonical. A folder that holds, or lies in, another library of the same mode is
    // refused with a sentence.
    std::expected<Library, std::string> addLibrary(std::string_view modeId, std::string_view name,
                                                   std::string_view path);
    bool removeLibrary(std::int64_t id);

    EntityPage entities(const EntityQuery& wanted);
    std::optional<Entity> entity(std::int64_t id);
    std::optional<MediaFile> mediaFile(std::int64_t entityId);

    // Of an item; close to its end the position counts as watched. False when there is no such
    // item.
    bool setProgress(std::int64_t entityId, std::int64_t positionMs, std::optional<bool> watched);

    std::optional<std::string> setting(std::string_view key);
    void setSetting(std::string_view key, std::string_view value);
    void removeSetting(std::string_view key);

  private:
    std::int64_t countOf(std::string_view type, std::optional<std::int64_t> library);
    std::int64_t total(const EntityQuery& wanted, const std::string& where,
                       const std::string& pattern);

    const std::string databaseFile;
    Database database;
    Database::Version countedVersion; // of what was counted
    std::map<std::tuple<std::string, std::optional<std::int64_t>, std::optional<std::int64_t>,
                        std::string>,
             std::int64_t>
        counted;
};

} // namespace ostrad
