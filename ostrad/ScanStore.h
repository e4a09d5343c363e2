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
    struct Unread { // an item whose tags or picture have not been looked at
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
    // Files that were moved or renamed stay the items they were: each of these missing items that
    // has the inode, size and time of exactly one item added after `newest` takes that item's
    // place. Returns the others.
    std::vector<std::int64_t> adoptMoved(std::int64_t library, std::int64_t newest,
                                         const std::vector<std::int64_t>& missing);
    void remove(const std::vector<std::int64_t>& entities);
    void removeEmptyGroups(std::int64_t library);
    void finish(std::int64_t library, bool available);

    std::vector<Unread> unprobed(std::int64_t library, std::int64_t limit);
    // What was read from the file itself; moves the item to the groups its tags name.
    void setProbe(std::int64_t library, std::int64_t entity, std::optional<std::int64_t> durationMs,
                  const std::optional<Placement>& placement);

    std::vector<Unread> unpictured(std::int64_t library, std::int64_t limit);
    std::optional<std::string> artOfSibling(const Unread& item);
    void setArt(std::int64_t entity, const std::string& fileName); // empty: there is none
    bool isArtUsed(const std::string& fileName);

    void interrupt() { database.interrupt(); }

  private:
    std::optional<std::int64_t> groupId(std::int64_t library, const std::vector<Node>& groups);

    Database database;
    WriteTurn& turn;
};

} // namespace ostrad
