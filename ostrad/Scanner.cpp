#include "ostrad/Scanner.h"

#include "ostrad/Fingerprint.h"
#include "ostrad/Log.h"
#include "ostrad/MediaProbe.h"
#include "ostrad/SafeFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace ostrad {

namespace {

constexpr std::size_t kBatch = 200;
constexpr std::int64_t kEveryLibrary = 0; // no library has this id

bool isUnder(std::string_view path, std::string_view folder) {
    return folder.empty() ||
           (path.starts_with(folder) && path.substr(folder.size()).starts_with('/'));
}

// Video tags are the habits of whoever encoded the file; names say more.
bool trustsTags(const Mode& mode) {
    return mode.id == "music" || mode.id == "podcasts";
}

bool hasPlayableFiles(const Mode& mode) {
    const MediaKind kind = mode.files.front().kind;
    return kind == MediaKind::audio || kind == MediaKind::video;
}

} // namespace

std::string_view phaseName(ScanProgress::Phase phase) {
    switch (phase) {
    case ScanProgress::Phase::files:
        return "files";
    case ScanProgress::Phase::tags:
        return "tags";
    case ScanProgress::Phase::artwork:
        return "artwork";
    case ScanProgress::Phase::idle:
        break;
    }
    return "idle";
}

struct Scanner::LibraryScan {
    std::int64_t id = 0;
    std::string path;
    const Mode* mode = nullptr;
    std::unordered_map<std::string, ScanStore::Known> missing; // known, not met yet
    std::vector<ScanStore::Placed> batch;
    bool gone = false;       // the library was removed under the scan
    std::int64_t newest = 0; // what has a higher id was added by this scan
};

Scanner::Scanner(const std::string& databasePath, WriteTurn& turn, ScannerTools scannerTools)
    : store(databasePath, turn)
    , tools(std::move(scannerTools))
    , worker([this] { run(); }) {}

Scanner::~Scanner() {
    stop();
}

void Scanner::scan(std::int64_t libraryId) {
    {
        const std::scoped_lock lock(mutex);
        if (std::ranges::find(queue, libraryId) != queue.end()) {
            return;
        }
        queue.push_back(libraryId);
    }
    wake.notify_one();
}

void Scanner::scanAll() {
    scan(kEveryLibrary);
}

ScanProgress Scanner::progress() const {
    const std::scoped_lock lock(mutex);
    ScanProgress copy = current;
    if (copy.phase == ScanProgress::Phase::idle && !queue.empty()) {
        copy.phase = ScanProgress::Phase::files; // about to begin
    }
    std::ranges::copy_if(queue, std::back_inserter(copy.queued),
                         [](std::int64_t id) { return id != kEveryLibrary; });
    return copy;
}

void Scanner::requestStop() {
    {
        const std::scoped_lock lock(mutex);
        stopping = true;
    }
    store.interrupt();
    wake.notify_one();
}

void Scanner::stop() {
    requestStop();
    if (worker.joinable()) {
        worker.join();
    }
}

// Asking the plug-ins who they are takes a while, and so may marking what is to be examined again.
void Scanner::begin() {
    try {
        plugins = Plugins(tools.plugins, stopping);
        if (!stopping) {
            store.useTools(fmt::format("{};{};{}", tools.ffprobe.empty() ? "" : "ffprobe",
                                       tools.fpcalc.empty() ? "" : "fpcalc", plugins.identity()));
        }
    } catch (const std::exception& error) {
        logLine(error.what());
    }
}

void Scanner::run() {
    begin();
    for (;;) {
        std::int64_t id = 0;
        {
            std::unique_lock lock(mutex);
            current.phase = ScanProgress::Phase::idle;
            current.libraryId = 0;
            wake.wait(lock, [this] { return stopping || !queue.empty(); });
            if (stopping) {
                return;
            }
            id = queue.front();
            queue.pop_front();
            current.phase = ScanProgress::Phase::files;
            current.libraryId = id;
            current.filesSeen = 0;
            current.changes = 0;
        }
        try {
            if (id == kEveryLibrary) {
                for (const std::int64_t library : store.libraryIds()) {
                    scan(library);
                }
            } else {
                scanLibrary(id);
            }
        } catch (const std::exception& error) {
            if (!stopping) {
                logLine(fmt::format("the scan of library {} failed: {}", id, error.what()));
            }
        }
    }
}

void Scanner::scanLibrary(std::int64_t id) {
    const auto root = store.root(id);
    const Mode* const mode = root ? findMode(root->modeId) : nullptr;
    if (mode == nullptr) {
        return;
    }
    LibraryScan scan{.id = id, .path = root->path, .mode = mode, .missing = {}, .batch = {}};
    compareFiles(scan);
    if (!stopping && !scan.gone && examines(*mode)) {
        examineFiles(scan);
    }
    if (!stopping && tools.artwork != nullptr) {
        if (!scan.gone && hasPlayableFiles(*mode)) {
            drawPictures(scan);
        }
        tools.artwork->sweep([this](const std::string& name) { return store.isArtUsed(name); });
    }
}

void Scanner::compareFiles(LibraryScan& scan) {
    scan.newest = store.newestId();
    scan.missing = store.knownFiles(scan.id);
    setPhase(ScanProgress::Phase::files, static_cast<std::int64_t>(scan.missing.size()));
    const auto wanted = [&scan](std::string_view path) {
        return fileKind(*scan.mode, path.substr(path.rfind('/') + 1)) != nullptr;
    };
    const auto found = [this, &scan](FoundFile file) {
        {
            const std::scoped_lock lock(mutex);
            ++current.filesSeen;
            ++current.done;
        }
        const auto known = scan.missing.find(file.path);
        const bool unchanged = known != scan.missing.end() && known->second.stamp == file.stamp;
        if (unchanged) {
            scan.missing.erase(known);
            return;
        }
        if (auto placement = placeFile(*scan.mode, file.path)) {
            if (known != scan.missing.end()) {
                scan.missing.erase(known);
            }
            scan.batch.push_back({std::move(file), std::move(*placement)});
        }
        if (scan.batch.size() >= kBatch) {
            putBatch(scan);
        }
    };
    const WalkOutcome outcome = walkTree(scan.path, wanted, found, stopping);
    putBatch(scan);
    if (outcome.stopped || scan.gone) {
        return;
    }
    removeMissing(scan, outcome);
    const bool available = std::ranges::find(outcome.unreadable, "") == outcome.unreadable.end();
    store.finish(scan.id, available);
    for (const std::string& folder : outcome.unreadable) {
        logLine(fmt::format("cannot read {}/{}", scan.path, folder));
    }
    noteChange(0);
}

void Scanner::putBatch(LibraryScan& scan) {
    if (!scan.batch.empty() && !scan.gone && !stopping) {
        scan.gone = !store.put(scan.id, scan.batch);
        noteChange(static_cast<std::int64_t>(scan.batch.size()));
    }
    scan.batch.clear();
}

void Scanner::removeMissing(LibraryScan& scan, const WalkOutcome& outcome) {
    std::vector<std::int64_t> gone;
    for (const auto& [path, known] : scan.missing) {
        const bool unseen =
            std::ranges::any_of(outcome.unreadable, [&path](const std::string& folder) {
                return isUnder(path, folder);
            });
        if (!unseen) {
            gone.push_back(known.id);
        }
    }
    if (!gone.empty()) {
        gone = store.adoptMoved(scan.id, scan.newest, gone, ScanStore::Likeness::stamp);
    }
    // What is new has to be heard before it can be told that it is what is missing.
    if (!tools.fpcalc.empty() && store.newestId() > scan.newest && store.anyFingerprint(gone)) {
        examineFiles(scan);
        if (stopping || scan.gone) {
            return;
        }
        gone = store.adoptMoved(scan.id, scan.newest, gone, ScanStore::Likeness::fingerprint);
        setPhase(ScanProgress::Phase::files, 0);
    }
    for (std::size_t begin = 0; begin < gone.size() && !stopping; begin += kBatch) {
        const auto first = gone.begin() + static_cast<std::ptrdiff_t>(begin);
        const auto last =
            gone.begin() + static_cast<std::ptrdiff_t>(std::min(begin + kBatch, gone.size()));
        store.remove({first, last});
        noteChange(last - first);
    }
    store.removeEmptyGroups(scan.id);
}

bool Scanner::examines(const Mode& mode) const {
    return !plugins.empty() || (!tools.ffprobe.empty() && hasPlayableFiles(mode));
}

void Scanner::examineFiles(LibraryScan& scan) {
    setPhase(ScanProgress::Phase::tags, store.countUnexamined(scan.id));
    for (;;) {
        const auto items = store.unexamined(scan.id, static_cast<std::int64_t>(kBatch));
        if (items.empty()) {
            break;
        }
        for (const ScanStore::Unread& item : items) {
            const ScanStore::Examined examined = examine(scan, item);
            if (stopping) {
                return;
            }
            store.setExamined(scan.id, item.id, examined);
            noteDone();
        }
        if (!store.root(scan.id)) {
            scan.gone = true;
            return;
        }
    }
    store.removeEmptyGroups(scan.id);
    noteChange(0);
}

ScanStore::Examined Scanner::examine(const LibraryScan& scan, const ScanStore::Unread& item) {
    ScanStore::Examined examined;
    const std::string file = scan.path + '/' + item.path;
    const bool plays = hasPlayableFiles(*scan.mode);
    std::optional<MediaFacts> facts;
    // What was a file when its folder was read may be a link by now.
    if (plays && !tools.ffprobe.empty() && openFileBeneath(scan.path, item.path)) {
        facts = probeMedia(tools.ffprobe, file, stopping);
    }
    if (facts) {
        examined.durationMs = facts->durationMs;
        if (!tools.fpcalc.empty()) {
            examined.fingerprint = takeFingerprint(tools.fpcalc, file, stopping).value_or("");
        }
    }
    if (plugins.empty() && !(facts && trustsTags(*scan.mode))) {
        return examined;
    }
    examined.placement = placeFile(*scan.mode, item.path,
                                   facts && trustsTags(*scan.mode) ? facts->tags : MediaTags{});
    if (examined.placement && !stopping) {
        const Node& node = examined.placement->item;
        PluginFacts more = plugins.ask({.type = node.type,
                                        .title = node.title,
                                        .number = node.number,
                                        .year = node.year,
                                        .libraryPath = scan.path,
                                        .path = item.path},
                                       stopping);
        examined.summary = std::move(more.summary).value_or("");
        correct(*examined.placement,
                {.title = std::move(more.title), .number = more.number, .year = more.year});
    }
    return examined;
}

void Scanner::drawPictures(LibraryScan& scan) {
    setPhase(ScanProgress::Phase::artwork, store.countUnpictured(scan.id));
    const bool isVideo = scan.mode->files.front().kind == MediaKind::video;
    for (;;) {
        const auto items = store.unpictured(scan.id, static_cast<std::int64_t>(kBatch));
        if (items.empty()) {
            return;
        }
        for (const ScanStore::Unread& item : items) {
            auto art = isVideo ? std::nullopt : store.artOfSibling(item);
            if (!art) {
                art = tools.artwork->draw({.entityId = item.id,
                                           .libraryPath = scan.path,
                                           .path = item.path,
                                           .durationMs = item.durationMs,
                                           .isVideo = isVideo},
                                          stopping);
            }
            if (stopping) {
                return;
            }
            store.setArt(item.id, art.value_or(""));
            noteDone();
        }
    }
}

void Scanner::setPhase(ScanProgress::Phase phase, std::int64_t total) {
    const std::scoped_lock lock(mutex);
    current.phase = phase;
    current.done = 0;
    current.total = total;
}

void Scanner::noteDone() {
    const std::scoped_lock lock(mutex);
    ++current.done;
    ++current.revision;
}

void Scanner::noteChange(std::int64_t count) {
    const std::scoped_lock lock(mutex);
    current.changes += count;
    ++current.revision;
}

} // namespace ostrad
