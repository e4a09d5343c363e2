#pragma once

#include "ostrad/Artwork.h"
#include "ostrad/Plugins.h"
#include "ostrad/ScanStore.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace ostrad {

// Brings the catalogue in line with the folders, one library after the other, on a thread of its
// own with a connection of its own. A scan first compares names and stamps, which is quick and
// decides what exists; then, where the tools were given, it reads tags and draws pictures of what
// is new. A folder that cannot be read keeps what is known of it: an unplugged disk empties no
// library. The public functions may be called from any thread.

struct ScanProgress {
    enum class Phase { idle, files, tags, artwork };

    Phase phase = Phase::idle;
    std::int64_t libraryId = 0;
    std::int64_t filesSeen = 0; // of this library in this scan
    std::int64_t changes = 0;   // added, updated or removed
    std::int64_t done = 0;      // of this phase
    std::int64_t total = 0;     // that this phase has before it; 0 when nobody knows
    std::int64_t revision = 0;  // grows with every change to the catalogue since the start
    std::vector<std::int64_t> queued;
};

std::string_view phaseName(ScanProgress::Phase phase);

struct ScannerTools {
    std::string ffprobe = {};         // empty: no tags are read
    std::string fpcalc = {};          // empty: no fingerprints are taken; needs ffprobe
    std::string plugins = {};         // the folder; empty: none
    const Artwork* artwork = nullptr; // null: no pictures are drawn
};

class Scanner {
  public:
    // Throws DatabaseError when the database cannot be opened a second time.
    Scanner(const std::string& databasePath, WriteTurn& turn, ScannerTools scannerTools);
    ~Scanner(); // stops
    Scanner(const Scanner&) = delete;
    Scanner& operator=(const Scanner&) = delete;

    void scan(std::int64_t libraryId); // queued once, however often it is asked for
    void scanAll();
    [[nodiscard]] ScanProgress progress() const;

    // Asks the scan in progress to end soon; stop() also waits for it. Nothing is scanned after.
    void requestStop();
    void stop();

  private:
    struct LibraryScan;

    void run();
    void begin();
    void scanLibrary(std::int64_t id);
    void compareFiles(LibraryScan& scan);
    void putBatch(LibraryScan& scan);
    void removeMissing(LibraryScan& scan, const WalkOutcome& outcome);
    void examineFiles(LibraryScan& scan);
    ScanStore::Examined examine(const LibraryScan& scan, const ScanStore::Unread& item);
    [[nodiscard]] bool examines(const Mode& mode) const;
    void drawPictures(LibraryScan& scan);
    void setPhase(ScanProgress::Phase phase, std::int64_t total);
    void noteDone();
    void noteChange(std::int64_t count);

    ScanStore store;
    ScannerTools tools;
    Plugins plugins; // the scanning thread's
    std::atomic<bool> stopping = false;

    mutable std::mutex mutex; // guards the two below
    std::condition_variable wake;
    std::deque<std::int64_t> queue;
    ScanProgress current;

    std::thread worker;
};

} // namespace ostrad
