#include "ostrad/Catalogue.h"

#include "ostrad/ScanStore.h"
#include "ostrad/Schema.h"
#include "tests/ostrad/TempFolder.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <functional>
#include <utility>

namespace ostrad {
namespace {

using test::TempFolder;

class CatalogueTest : public testing::Test {
  protected:
    void put(std::int64_t library, std::string_view mode, std::vector<std::string> paths) {
        std::vector<ScanStore::Placed> files;
        for (std::string& path : paths) {
            auto placement = placeFile(*findMode(mode), path);
            files.push_back({{std::move(path), {.size = 10, .modified = 20, .inode = 30}},
                             std::move(*placement)});
        }
        ASSERT_TRUE(store.put(library, files));
    }

    std::vector<std::string> titles(const EntityQuery& query) {
        std::vector<std::string> result;
        for (const Entity& entity : catalogue.entities(query).entities) {
            result.push_back(entity.title);
        }
        return result;
    }

    TempFolder temp;
    Catalogue catalogue{temp.path("db")};
    WriteTurn turn;
    ScanStore store{temp.path("db"), turn};
};

TEST_F(CatalogueTest, remembersLibraries) {
    const auto added = catalogue.addLibrary("music", "Mine", "/m");
    ASSERT_TRUE(added);
    const auto all = catalogue.libraries();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].id, added->id);
    EXPECT_EQ(all[0].name, "Mine");
    EXPECT_EQ(all[0].path, "/m");
    EXPECT_EQ(all[0].itemCount, 0);
}

TEST_F(CatalogueTest, refusesFoldersThatOverlapInOneMode) {
    ASSERT_TRUE(catalogue.addLibrary("music", "Mine", "/m/a"));
    EXPECT_FALSE(catalogue.addLibrary("music", "Same", "/m/a"));
    EXPECT_FALSE(catalogue.addLibrary("music", "Inside", "/m/a/b"));
    EXPECT_FALSE(catalogue.addLibrary("music", "Around", "/m"));
    EXPECT_TRUE(catalogue.addLibrary("music", "Beside", "/m/ab"));
    EXPECT_TRUE(catalogue.addLibrary("podcasts", "Other mode", "/m/a"));
}

TEST_F(CatalogueTest, forgetsEverythingInARemovedLibrary) {
    const auto library = catalogue.addLibrary("music", "Mine", "/m");
    put(library->id, "music", {"A/B/1.mp3", "A/C/2.mp3"});
    EXPECT_EQ(catalogue.entities({.type = "music.album"}).total, 2);
    EXPECT_TRUE(catalogue.removeLibrary(library->id));
    EXPECT_EQ(catalogue.entities({.type = "music.album"}).total, 0);
    EXPECT_EQ(catalogue.entities({.type = "music.track"}).total, 0);
    EXPECT_FALSE(catalogue.removeLibrary(library->id));
}

TEST_F(CatalogueTest, takesNothingForARemovedLibrary) {
    const auto library = catalogue.addLibrary("movies", "Films", "/f");
    catalogue.removeLibrary(library->id);
    EXPECT_FALSE(
        store.put(library->id, {{{"a.mkv", {}}, *placeFile(*findMode("movies"), "a.mkv")}}));
}

TEST_F(CatalogueTest, countsTheItemsOfALibraryNotItsGroups) {
    const auto library = catalogue.addLibrary("audiobooks", "Books", "/b");
    put(library->id, "audiobooks", {"Ada/Ferry/1.mp3", "Ada/Ferry/2.mp3", "Ada/Other.m4b"});
    EXPECT_EQ(catalogue.library(library->id)->itemCount, 2);
}

TEST_F(CatalogueTest, givesPagesWithTheTotalBeforeThem) {
    const auto library = catalogue.addLibrary("movies", "Films", "/f");
    put(library->id, "movies", {"e.mkv", "d.mkv", "c.mkv", "b.mkv", "a.mkv"});
    const EntityPage page = catalogue.entities({.type = "movies.movie", .limit = 2, .offset = 3});
    EXPECT_EQ(page.total, 5);
    ASSERT_EQ(page.entities.size(), 2U);
    EXPECT_EQ(page.entities[0].title, "d");
    EXPECT_EQ(catalogue.entities({.type = "movies.movie", .limit = 0}).entities.size(), 0U);
    EXPECT_EQ(catalogue.entities({.type = "movies.movie", .limit = 9, .offset = 9}).total, 5);
}

TEST_F(CatalogueTest, listsChildrenInTheirOrderWithTheirParents) {
    const auto library = catalogue.addLibrary("music", "Mine", "/m");
    put(library->id, "music", {"A/B/10 - ten.mp3", "A/B/02 - two.mp3", "A/B/extra.mp3"});
    const Entity album = catalogue.entities({.type = "music.album"}).entities.at(0);
    EXPECT_EQ(album.childCount, 3);
    EXPECT_EQ(album.parentTitle, "A");
    const EntityQuery children{.parentId = album.id};
    EXPECT_EQ(titles(children), (std::vector<std::string>{"two", "ten", "extra"}));
    const Entity track = catalogue.entities(children).entities.at(0);
    EXPECT_EQ(track.parentTitle, "B");
    EXPECT_EQ(track.grandparentTitle, "A");
    EXPECT_EQ(track.number, 2);
}

TEST_F(CatalogueTest, searchesForTextAsItIs) {
    const auto library = catalogue.addLibrary("movies", "Films", "/f");
    put(library->id, "movies", {"100% Sure.mkv", "Under_score (2001).mkv", "Hundred.mkv"});
    const auto search = [this](std::string text) {
        return titles(
            {.type = "movies.movie", .libraryId = {}, .parentId = {}, .search = std::move(text)});
    };
    EXPECT_EQ(search("HUND"), std::vector<std::string>{"Hundred"});
    EXPECT_EQ(search("100%"), std::vector<std::string>{"100% Sure"});
    EXPECT_TRUE(search("%").size() == 1 && search("'").empty() && search("\\").empty());
}

TEST_F(CatalogueTest, countsAgainAfterEveryChangeWhoeverMadeIt) {
    const auto library = catalogue.addLibrary("movies", "Films", "/f");
    const auto total = [this] { return catalogue.entities({.type = "movies.movie"}).total; };
    EXPECT_EQ(total(), 0);
    put(library->id, "movies", {"a.mkv", "b.mkv"}); // over another connection
    EXPECT_EQ(total(), 2);
    EXPECT_EQ(total(), 2);
    EXPECT_EQ(catalogue.entities({.type = "movies.movie", .search = "A"}).total, 1);
    EXPECT_TRUE(catalogue.removeLibrary(library->id));
    EXPECT_EQ(total(), 0);
}

TEST_F(CatalogueTest, givesTheSamePagesFromEitherEnd) {
    const auto library = catalogue.addLibrary("music", "Mine", "/m");
    std::vector<std::string> files;
    for (int number = 0; number < 23; ++number) { // of one title, where only the id tells
        files.push_back(fmt::format("A/B/CD{}/Same.mp3", number));
    }
    put(library->id, "music", files);
    const auto ids = [this](std::int64_t offset, std::int64_t limit) {
        std::vector<std::int64_t> found;
        const auto page =
            catalogue.entities({.type = "music.track", .limit = limit, .offset = offset});
        EXPECT_EQ(page.total, 23);
        for (const Entity& entity : page.entities) {
            found.push_back(entity.id);
        }
        return found;
    };
    const auto all = ids(0, 100);
    ASSERT_EQ(all.size(), 23U);
    for (const std::int64_t limit : {0, 1, 5, 11, 12, 23, 24}) {
        for (std::int64_t offset = 0; offset < 26; ++offset) {
            const auto first = all.begin() + std::min<std::int64_t>(offset, 23);
            const auto last = all.begin() + std::min<std::int64_t>(offset + limit, 23);
            EXPECT_EQ(ids(offset, limit), std::vector(first, last)) << offset << ' ' << limit;
        }
    }
}

TEST_F(CatalogueTest, keepsItsCountsWhateverHappens) {
    const auto counts = [this] {
        for (const char* const type : {"music.artist", "music.album", "music.track"}) {
            const EntityPage page = catalogue.entities({.type = type});
            EXPECT_EQ(page.total, static_cast<std::int64_t>(page.entities.size())) << type;
            for (const Library& library : catalogue.libraries()) {
                const EntityPage own = catalogue.entities({.type = type, .libraryId = library.id});
                EXPECT_EQ(own.total, static_cast<std::int64_t>(own.entities.size())) << type;
                EXPECT_TRUE(type != std::string("music.track") || library.itemCount == own.total);
            }
        }
    };
    const auto one = catalogue.addLibrary("music", "One", "/1");
    const auto two = catalogue.addLibrary("music", "Two", "/2");
    put(one->id, "music", {"A/B/1.mp3", "A/B/2.mp3", "A/C/3.mp3"});
    put(two->id, "music", {"A/B/1.mp3"});
    counts();
    put(one->id, "music", {"A/B/1.mp3"}); // changed
    counts();
    const std::int64_t newest = store.newestId();
    put(one->id, "music", {"D/E/9.mp3"});
    const auto moved = catalogue.entities({.type = "music.track", .libraryId = one->id}).entities;
    EXPECT_EQ(store.adoptMoved(one->id, newest, {moved.at(0).id}, ScanStore::Likeness::stamp),
              std::vector<std::int64_t>{});
    counts();
    store.remove({moved.at(2).id});
    store.removeEmptyGroups(one->id);
    counts();
    EXPECT_EQ(catalogue.entities({.type = "music.track"}).total, 3);
    ASSERT_TRUE(catalogue.removeLibrary(one->id));
    counts();
    EXPECT_EQ(catalogue.entities({.type = "music.track"}).total, 1);
}

#ifdef __linux__ // the SQLite of a Mac has no extensions that load by themselves
// How often SQLite goes on to another row, in the catalogue it opens and whatever that is asked.
class CatalogueWork : public CatalogueTest {
  protected:
    CatalogueWork() {
        // Of every connection that is opened now: the catalogue's.
        const auto observe = [](sqlite3* opened, char**, const sqlite3_api_routines*) {
            sqlite3_progress_handler(
                opened, 1, [](void*) { return static_cast<void>(++steps), 0; }, nullptr);
            return SQLITE_OK;
        };
        entryPoint = reinterpret_cast<void (*)()>(+observe);
        sqlite3_auto_extension(entryPoint);
        observed = std::make_unique<Catalogue>(temp.path("db"));
        sqlite3_cancel_auto_extension(entryPoint);
        library = observed->addLibrary("music", "Mine", "/m")->id;
    }

    void addAlbums(int albums) {
        std::vector<std::string> files;
        for (int album = 0; album < albums; ++album, ++lastAlbum) {
            for (int track = 0; track < 10; ++track) {
                files.push_back(
                    fmt::format("Artist {}/Album {:05}/{}.mp3", lastAlbum % 7, lastAlbum, track));
            }
        }
        put(library, "music", files);
    }

    static std::int64_t stepsOf(const std::function<void()>& task) {
        task(); // compiles the statements
        steps = 0;
        task();
        return std::exchange(steps, 0);
    }

    std::int64_t stepsOfPage(std::string type, std::int64_t offset) {
        return stepsOf([&] {
            // As after a change, which makes what is remembered worthless.
            observed->setSetting("k", "v");
            const EntityQuery query{.type = std::move(type), .limit = 10, .offset = offset};
            EXPECT_EQ(observed->entities(query).entities.size(), 10U);
            type = query.type;
        });
    }

    static inline std::int64_t steps = 0;
    void (*entryPoint)() = nullptr;
    std::unique_ptr<Catalogue> observed;
    std::int64_t library = 0;
    int lastAlbum = 0;
};

TEST_F(CatalogueWork, ofAPageAtEitherEndDoesNotGrowWithTheCatalogue) {
    addAlbums(20);
    const std::int64_t few = stepsOfPage("music.track", 0);
    EXPECT_GT(few, 10) << "the test itself";
    addAlbums(200);
    EXPECT_LE(stepsOfPage("music.track", 0), few + 20);
    EXPECT_LE(stepsOfPage("music.track", 2190), few + 20);
    EXPECT_LE(stepsOfPage("music.track", 1095), few + 4 * 1100) << "a few for each that is passed";
}

TEST_F(CatalogueWork, ofTheListOfLibrariesDoesNotGrowWithThem) {
    addAlbums(2);
    const std::int64_t few = stepsOf([this] { observed->libraries(); });
    addAlbums(200);
    EXPECT_LE(stepsOf([this] { observed->libraries(); }), few + 20);
    EXPECT_EQ(observed->libraries().at(0).itemCount, 2020);
}

TEST_F(CatalogueWork, ofFindingAPictureForAGroupDoesNotGrowWithWhatIsInIt) {
    addAlbums(700); // 100 an artist, with 1000 tracks
    const std::int64_t perArtist =
        stepsOf([this] { observed->entities({.type = "music.artist", .limit = 1}); });
    EXPECT_LE(perArtist, 1500);
}
#endif

TEST_F(CatalogueTest, keepsTheIdOfAFileThatChanged) {
    const auto library = catalogue.addLibrary("movies", "Films", "/f");
    put(library->id, "movies", {"a.mkv"});
    const auto before = catalogue.entities({.type = "movies.movie"}).entities.at(0);
    store.setExamined(library->id, before.id, {.durationMs = 5000, .placement = std::nullopt});
    EXPECT_EQ(catalogue.entity(before.id)->durationMs, 5000);
    put(library->id, "movies", {"a.mkv"});
    EXPECT_EQ(catalogue.entities({.type = "movies.movie"}).total, 1);
    EXPECT_EQ(catalogue.entity(before.id)->durationMs, std::nullopt);
}

TEST_F(CatalogueTest, showsAGroupThePictureOfItsFirstItem) {
    const auto library = catalogue.addLibrary("tv", "Shows", "/t");
    put(library->id, "tv", {"Show/S01E01.mkv", "Show/S01E02.mkv"});
    const auto episodes = catalogue.entities({.type = "tv.episode"}).entities;
    store.setArt(episodes.at(1).id, "2-1.jpg");
    EXPECT_EQ(catalogue.entities({.type = "tv.season"}).entities.at(0).art, "2-1.jpg");
    EXPECT_EQ(catalogue.entities({.type = "tv.show"}).entities.at(0).art, "2-1.jpg");
    EXPECT_TRUE(store.isArtUsed("2-1.jpg"));
    EXPECT_FALSE(store.isArtUsed("9-9.jpg"));
}

TEST_F(CatalogueTest, keepsSettings) {
    EXPECT_EQ(catalogue.setting("k"), std::nullopt);
    catalogue.setSetting("k", "1");
    catalogue.setSetting("k", "2");
    EXPECT_EQ(catalogue.setting("k"), "2");
    catalogue.removeSetting("k");
    EXPECT_EQ(catalogue.setting("k"), std::nullopt);
}

mode_t modeOf(const std::string& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

TEST_F(CatalogueTest, keepsItsFilesToTheUser) {
    catalogue.setSetting("k", "1");
    EXPECT_EQ(modeOf(temp.path("db")), 0600U);
    EXPECT_EQ(modeOf(temp.path("db-wal")), 0600U);
    EXPECT_EQ(modeOf(temp.path("db-shm")), 0600U);
}

TEST(Schema, foldsTheJournalBackWhenTheLastConnectionCloses) {
    const TempFolder temp;
    {
        Catalogue catalogue(temp.path("db"));
        catalogue.setSetting("k", "1");
        EXPECT_TRUE(std::filesystem::exists(temp.path("db-wal")));
    }
    EXPECT_FALSE(std::filesystem::exists(temp.path("db-wal")));
    EXPECT_EQ(Catalogue(temp.path("db")).setting("k"), "1");
}

TEST(Schema, countsWhatAnOlderVersionLeftUncounted) {
    const TempFolder temp;
    {
        Catalogue catalogue(temp.path("db"));
        Database older(temp.path("db"));
        older.execute("DROP TRIGGER count_added; DROP TRIGGER count_removed;"
                      "DROP TRIGGER count_changed; DROP TABLE counts; DROP INDEX entities_with_art;"
                      "PRAGMA user_version = 3;"
                      "INSERT INTO libraries (mode, name, path) VALUES ('movies', 'F', '/f');"
                      "INSERT INTO entities (library, type, key, title, sort, path) VALUES"
                      "(1, 'movies.movie', 'a', 'A', 'a', 'a.mkv'),"
                      "(1, 'movies.movie', 'b', 'B', 'b', 'b.mkv')");
    }
    Catalogue catalogue(temp.path("db"));
    EXPECT_EQ(catalogue.entities({.type = "movies.movie"}).total, 2);
    EXPECT_EQ(catalogue.libraries().at(0).itemCount, 2);
}

TEST(Schema, refusesWhatIsNotItsDatabase) {
    const TempFolder temp;
    EXPECT_THROW(Catalogue(temp.write("text", std::string(5000, 'x'))), DatabaseError);
    EXPECT_THROW(Catalogue(temp.makeFolder("folder")), DatabaseError);
    EXPECT_THROW(Catalogue(temp.path("missing/db")), DatabaseError);
    {
        Database other(temp.path("other"));
        other.execute("CREATE TABLE theirs (x)");
    }
    EXPECT_THROW(Catalogue(temp.path("other")), DatabaseError);
    {
        Catalogue made(temp.path("newer"));
        Database newer(temp.path("newer"));
        newer.execute("PRAGMA user_version = 99");
    }
    EXPECT_THROW(Catalogue(temp.path("newer")), DatabaseError);
}

} // namespace
} // namespace ostrad
