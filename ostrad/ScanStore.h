#pragma once

#include "ostrad/Database.h"
#include "ostrad/Placement.h"
#include "ostrad/TreeWalk.h"
#include "ostrad/WriteTurn.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace ostrad {

// What a scan writes to the catalogue, over a connection of its own. Each writing function is one
// transaction in its WriteTurn, small enough for a request to wait for. A library that was removed
// meanwhile takes no more entries. Belongs to the scanning thread.
class ScanStore {
  public:
    struct Known {
        std::int64_t id = 0;
        FileStamp stamp;
    };
    struct Placed {
        FoundFile file;
        Placement placement;
    };
    struct Unread { // an item that has not been examined, or has no picture yet
        std::int64_t id = 0;
        std::optional<std::int64_t> parentId;
        std::string path;
        std::int64_t durationMs = 0; // 0 when unknown
    };
    struct LibraryRoot {
        std::string path;
        std::string modeId;
    };

    ScanStore(const std::string& databasePath, WriteTurn& writeTurn);

    std::vector<std::int64_t> libraryIds();
    std::optional<LibraryRoot> root(std::int64_t library);
    std::unordered_map<std::string, Known> knownFiles(std::int64_t library);

    // Adds new files and updates changed ones; false when the library is gone.
    bool put(std::int64_t library, const std::vector<Placed>& files);
    // The id that every item added from now on exceeds.
    std::int64_t newestId();
    // How a file is known again: by inode, size and time, or by what it sounds like.
    enum class Likeness { stamp, fingerprint };
    // Files that were moved or renamed stay the items they were: a missing item takes the place of
    // an item of its type added after `newest` if the two are alike and no others are. Returns
    // those that are still missing.
    std::vector<std::int64_t> adoptMoved(std::int64_t library, std::int64_t newest,
                                         const std::vector<std::int64_t>& missing,
                                         Likeness likeness);
    bool anyFingerprint(const std::vector<std::int64_t>& entities);
    void remove(const std::vector<std::int64_t>& entities);
    void removeEmptyGroups(std::int64_t library);
    void finish(std::int64_t library, bool available);

    std::int64_t countUnexamined(std::int64_t library);
    std::vector<Unread> unexamined(std::int64_t library, std::int64_t limit);
    // Everything is to be examined again when `tools` are others than those of the last time.
    void useTools(const std::string& tools);
    // What was learnt from the file itself; moves the item to the groups its tags name.
    struct Examined {
        std::optional<std::int64_t> durationMs;
        std::optional<Placement> placement; // nothing: as before
        std::string fingerprint = {};
        std::string summary = {};
    };
    void setExamined(std::int64_t library, std::int64_t entity, const Examined& examined);

    std::int64_t countUnpictured(std::int64_t library);
    std::vector<Unread> unpictured(std::int64_t library, std::int64_t limit);
    std::optional<std::string> artOfSibling(const Unread& item);
    void setArt(std::int64_t entity, const std::string& fileName); // empty: there is none
    bool isArtUsed(const std::string& fileName);

    void interrupt() { database.interrupt(); }

  private:
    void takePlace(std::int64_t entity, std::int64_t other);
    std::optional<std::int64_t> groupId(std::int64_t library, const std::vector<Node>& groups);

    Database database;
    WriteTurn& turn;
};

} // namespace ostrad
