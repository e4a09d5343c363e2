#include "ostrad/Scanner.h"

#include "ostrad/Catalogue.h"
#include "ostrad/Database.h"
#include "tests/ostrad/TempFolder.h"

#include <gtest/gtest.h>

#include <memory>

namespace ostrad {
namespace {

namespace fs = std::filesystem;
using test::eventually;
using test::TempFolder;

class ScannerTest : public testing::Test {
  protected:
    std::int64_t addLibrary(std::string_view mode, std::string_view folder) {
        return catalogue.addLibrary(mode, "Library", temp.makeFolder(folder))->id;
    }

    void scan(std::int64_t library) {
        scanner.scan(library);
        ASSERT_TRUE(settled(scanner));
    }

    static bool settled(const Scanner& which) {
        return eventually([&which] { return which.progress().phase == ScanProgress::Phase::idle; });
    }

    std::vector<std::string> titles(std::string_view type) {
        std::vector<std::string> result;
        for (const Entity& entity : catalogue.entities({.type = std::string(type)}).entities) {
            result.push_back(entity.title);
        }
        return result;
    }

    using Titles = std::vector<std::string>;

    TempFolder temp;
    Catalogue catalogue{temp.path("db")};
    WriteTurn turn;
    Scanner scanner{temp.path("db"), turn, {}};
};

TEST_F(ScannerTest, findsWhatIsInAFolder) {
    temp.write("music/The Quiet Hours/Low Tide/01 - Harbour.mp3");
    temp.write("music/The Quiet Hours/Low Tide/02 - Lanterns.mp3");
    temp.write("music/The Quiet Hours/Low Tide/notes.txt");
    scan(addLibrary("music", "music"));
    EXPECT_EQ(titles("music.track"), (Titles{"Harbour", "Lanterns"}));
    EXPECT_EQ(titles("music.album"), Titles{"Low Tide"});
    EXPECT_EQ(titles("music.artist"), Titles{"The Quiet Hours"});
}

TEST_F(ScannerTest, knowsAFileAgainThatWasMovedOrRenamed) {
    const auto library = addLibrary("tv", "shows");
    temp.write("shows/A Show/Season 1/S01E01 - One.mkv", "one");
    temp.write("shows/A Show/Season 1/S01E02 - Two.mkv", "two");
    scan(library);
    const auto before = catalogue.entities({.type = "tv.episode"}).entities;
    ASSERT_EQ(before.size(), 2U);
    ASSERT_TRUE(catalogue.setProgress(before[1].id, 77'000, std::nullopt));

    temp.makeFolder("shows/Another Show/Season 3");
    fs::rename(temp.path("shows/A Show/Season 1/S01E02 - Two.mkv"),
               temp.path("shows/Another Show/Season 3/S03E07 - Zwei.mkv"));
    scan(library);
    const auto moved = catalogue.entity(before[1].id);
    ASSERT_TRUE(moved) << "it is another item now";
    EXPECT_EQ(moved->title, "Zwei");
    EXPECT_EQ(moved->number, 7);
    EXPECT_EQ(moved->grandparentTitle, "Another Show");
    EXPECT_EQ(moved->positionMs, 77'000);
    EXPECT_EQ(titles("tv.episode").size(), 2U);
    EXPECT_EQ(catalogue.mediaFile(before[1].id)->path, "Another Show/Season 3/S03E07 - Zwei.mkv");
}

TEST_F(ScannerTest, takesNoOtherFileForAMovedOne) {
    const auto library = addLibrary("movies", "films");
    temp.write("films/A.mkv", "same size");
    scan(library);
    const auto before = catalogue.entities({.type = "movies.movie"}).entities.at(0).id;
    temp.write("films/B.mkv", "same_size");
    fs::last_write_time(temp.path("films/B.mkv"), fs::last_write_time(temp.path("films/A.mkv")));
    scan(library);
    fs::create_hard_link(temp.path("films/B.mkv"), temp.path("films/C.mkv"));
    temp.remove("films/A.mkv");
    scan(library);
    EXPECT_FALSE(catalogue.entity(before));
    EXPECT_EQ(titles("movies.movie"), (Titles{"B", "C"}));
}

TEST_F(ScannerTest, knowsARecordingAgainInAnotherFile) {
    const auto library = addLibrary("music", "music");
    scan(library); // so that the scanner without tools has begun
    // Tools that take the first line of a file for what they are asked about.
    const std::string probe = temp.writeProgram(
        "probe",
        "for last; do :; done; exec 3< \"${last#file:}\"; read -r line <&3; "
        "case $line in *media*) echo '{\"format\":{\"duration\":\"61.5\"}}';; *) exit 1;; esac");
    const std::string listen = temp.writeProgram(
        "listen", "for last; do :; done; read -r line < \"$last\"; echo \"{\\\"duration\\\": 61, "
                  "\\\"fingerprint\\\": \\\"AQADtMmybfGO8NCNEESLnzHyX${line%%-*}\\\"}\"");
    Scanner listening{temp.path("db"), turn, {.ffprobe = probe, .fpcalc = listen}};
    temp.write("music/A/B/01 - One.mp3", "one-media\nold tags");
    temp.write("music/A/B/02 - Two.mp3", "two-media\nold tags");
    temp.write("music/A/B/03 - Same.mp3", "same-media\nold");
    temp.write("music/A/B/04 - Same again.mp3", "same-media\nold");
    temp.write("music/A/B/05 - Text.mp3", "five-text");
    listening.scan(library);
    ASSERT_TRUE(settled(listening));
    const auto before = catalogue.entities({.type = "music.track"}).entities;
    ASSERT_EQ(before.size(), 5U);
    EXPECT_GT(before[0].added, 1'600'000'000);
    ASSERT_TRUE(catalogue.setProgress(before[0].id, 7000, std::nullopt));

    // Other names, sizes and inodes, as from a program that writes tags, on another day.
    Database(temp.path("db")).execute("UPDATE entities SET added = 5 WHERE path IS NOT NULL");
    fs::remove_all(temp.path("music/A"));
    temp.write("music/C/D/09 - Uno.mp3", "one-media\nnew tags of another length");
    temp.write("music/C/D/10 - Due.mp3", "other-media\nnew tags of another length");
    temp.write("music/C/D/11 - Lo stesso.mp3", "same-media\nnew tags of another length");
    temp.write("music/C/D/12 - Testo.mp3", "five-text, and more");
    listening.scan(library);
    ASSERT_TRUE(settled(listening));
    const auto again = catalogue.entity(before[0].id);
    ASSERT_TRUE(again) << "it is another item now";
    EXPECT_EQ(again->title, "Uno");
    EXPECT_EQ(again->positionMs, 7000);
    EXPECT_EQ(again->added, 5);
    EXPECT_EQ(again->grandparentTitle, "C");
    for (int other = 1; other < 5; ++other) {
        EXPECT_FALSE(catalogue.entity(before[static_cast<std::size_t>(other)].id)) << other;
    }
    EXPECT_EQ(titles("music.track"), (Titles{"Uno", "Due", "Lo stesso", "Testo"}));
    EXPECT_EQ(titles("music.artist"), Titles{"C"});
}

TEST_F(ScannerTest, asksPluginsAndAgainWhenOthersWouldAnswer) {
    const auto library = addLibrary("movies", "films");
    temp.write("films/A.mkv");
    temp.write("films/B (1999).mkv");
    scan(library); // so that the scanner without plug-ins has begun
    const auto plugin = [&](const std::string& version, const std::string& answer) {
        temp.writeProgram("plugins/one",
                          "if [ $1 = describe ]; then echo '{\"plugin\":1,\"name\":"
                          "\"N\",\"version\":\"" +
                              version + "\",\"types\":[\"movies.movie\"]}'; else read -r item; " +
                              "case $item in *A.mkv*) echo '" + answer +
                              "';; *) echo '{}';; esac; fi");
    };
    const auto scanWith = [&](const std::string& folder) {
        Scanner asking{temp.path("db"), turn, {.plugins = folder}};
        asking.scan(library);
        ASSERT_TRUE(settled(asking));
    };
    plugin("1", R"({"title":"Zoo","year":1987,"summary":"Animals."})");
    scanWith(temp.path("plugins"));
    EXPECT_EQ(titles("movies.movie"), (Titles{"B", "Zoo"}));
    const auto film = catalogue.entities({.type = "movies.movie", .search = "Zoo"}).entities.at(0);
    EXPECT_EQ(film.year, 1987);
    EXPECT_EQ(film.summary, "Animals.");
    plugin("1", R"({"title":"Unasked"})");
    scanWith(temp.path("plugins"));
    EXPECT_EQ(titles("movies.movie"), (Titles{"B", "Zoo"})) << "nothing changed, nobody is asked";
    plugin("2", R"({"title":"Quay"})");
    scanWith(temp.path("plugins"));
    EXPECT_EQ(titles("movies.movie"), (Titles{"B", "Quay"}));
    EXPECT_EQ(catalogue.entity(film.id)->summary, "");
}

TEST_F(ScannerTest, picksUpWhatWasAddedChangedAndRemoved) {
    const auto library = addLibrary("movies", "films");
    temp.write("films/A.mkv");
    temp.write("films/B.mkv");
    scan(library);
    EXPECT_EQ(titles("movies.movie"), (Titles{"A", "B"}));
    const auto before = catalogue.entities({.type = "movies.movie"}).entities.at(0);

    temp.remove("films/B.mkv");
    temp.write("films/C.mkv");
    temp.write("films/A.mkv", "longer than before");
    scan(library);
    EXPECT_EQ(titles("movies.movie"), (Titles{"A", "C"}));
    const auto after = catalogue.entities({.type = "movies.movie"}).entities.at(0);
    EXPECT_EQ(after.id, before.id);
    EXPECT_EQ(after.size, 18);
}

TEST_F(ScannerTest, removesGroupsThatBecameEmpty) {
    const auto library = addLibrary("tv", "tv");
    temp.write("tv/Harbour/Season 1/S01E01.mkv");
    temp.write("tv/Lights/Season 1/S01E01.mkv");
    scan(library);
    EXPECT_EQ(titles("tv.show"), (Titles{"Harbour", "Lights"}));
    temp.remove("tv/Harbour");
    scan(library);
    EXPECT_EQ(titles("tv.show"), Titles{"Lights"});
    EXPECT_EQ(titles("tv.season").size(), 1U);
}

TEST_F(ScannerTest, changesNothingWhenNothingChanged) {
    const auto library = addLibrary("movies", "films");
    temp.write("films/A.mkv");
    scan(library);
    scan(library);
    EXPECT_EQ(scanner.progress().changes, 0);
    EXPECT_EQ(scanner.progress().filesSeen, 1);
}

TEST_F(ScannerTest, followsNoLinks) {
    temp.write("elsewhere/Secret.mkv");
    temp.write("films/A.mkv");
    fs::create_directory_symlink(temp.path("films"), temp.path("films/loop"));
    fs::create_directory_symlink(temp.path("elsewhere"), temp.path("films/out"));
    scan(addLibrary("movies", "films"));
    EXPECT_EQ(titles("movies.movie"), Titles{"A"});
}

TEST_F(ScannerTest, keepsWhatItKnowsWhenTheFolderIsAway) {
    const auto library = addLibrary("movies", "films");
    temp.write("films/A.mkv");
    scan(library);
    fs::rename(temp.path("films"), temp.path("unplugged"));
    scan(library);
    EXPECT_EQ(titles("movies.movie"), Titles{"A"});
    EXPECT_FALSE(catalogue.library(library)->available);
    fs::rename(temp.path("unplugged"), temp.path("films"));
    scan(library);
    EXPECT_TRUE(catalogue.library(library)->available);
    EXPECT_EQ(titles("movies.movie"), Titles{"A"});
}

TEST(ScannerAsOrdinaryUser, keepsWhatItKnowsBelowAFolderItCannotRead) {
    const test::AsOrdinaryUser user;
    const TempFolder temp;
    Catalogue catalogue(temp.path("db"));
    WriteTurn turn;
    Scanner scanner(temp.path("db"), turn, {});
    temp.write("films/closed/A.mkv");
    temp.write("films/open/B.mkv");
    const auto library = catalogue.addLibrary("movies", "Films", temp.path("films"))->id;
    const auto scan = [&] {
        scanner.scan(library);
        return eventually([&] { return scanner.progress().phase == ScanProgress::Phase::idle; });
    };
    ASSERT_TRUE(scan());
    fs::permissions(temp.path("films/closed"), fs::perms::none);
    temp.remove("films/open/B.mkv");
    ASSERT_TRUE(scan());
    const auto films = catalogue.entities({.type = "movies.movie"}).entities;
    ASSERT_EQ(films.size(), 1U);
    EXPECT_EQ(films[0].title, "A");
    fs::permissions(temp.path("films/closed"), fs::perms::owner_all);
}

TEST_F(ScannerTest, acceptsFileNamesThatAreNotUtf8) {
    temp.write("films/caf\xE9.mkv");
    const auto library = addLibrary("movies", "films");
    scan(library);
    scan(library);
    EXPECT_EQ(titles("movies.movie"), Titles{"caf\xEF\xBF\xBD"});
    EXPECT_EQ(scanner.progress().changes, 0);
}

TEST_F(ScannerTest, scansEveryLibraryOnDemand) {
    temp.write("films/A.mkv");
    temp.write("music/X/Y/1.mp3");
    addLibrary("movies", "films");
    addLibrary("music", "music");
    scanner.scanAll();
    ASSERT_TRUE(settled(scanner));
    EXPECT_EQ(titles("movies.movie").size() + titles("music.track").size(), 2U);
}

TEST_F(ScannerTest, scansBeyondOneBatch) {
    for (int i = 0; i < 450; ++i) {
        temp.write("films/Film " + std::to_string(i) + ".mkv");
    }
    const auto library = addLibrary("movies", "films");
    scan(library);
    EXPECT_EQ(catalogue.entities({.type = "movies.movie"}).total, 450);
    temp.remove("films");
    temp.write("films/Last.mkv");
    scan(library);
    EXPECT_EQ(titles("movies.movie"), Titles{"Last"});
}

TEST_F(ScannerTest, abandonsALibraryThatIsRemovedMeanwhile) {
    temp.write("films/A.mkv");
    const auto library = addLibrary("movies", "films");
    scanner.scan(library);
    {
        const auto held = turn.request();
        catalogue.removeLibrary(library);
    }
    ASSERT_TRUE(settled(scanner));
    EXPECT_EQ(catalogue.entities({.type = "movies.movie"}).total, 0);
}

TEST_F(ScannerTest, readsTagsWithTheProbeItIsGiven) {
    const std::string probe = temp.writeProgram(
        "probe", "echo '{\"format\":{\"duration\":\"61.5\",\"tags\":{\"title\":\"Harbour\","
                 "\"artist\":\"The Quiet Hours\",\"album\":\"Low Tide\",\"track\":\"4/9\"}}}'");
    temp.write("music/unsorted/x.mp3");
    const auto library = addLibrary("music", "music");
    Scanner probing(temp.path("db"), turn, {.ffprobe = probe});
    probing.scan(library);
    ASSERT_TRUE(settled(probing));
    const auto track = catalogue.entities({.type = "music.track"}).entities.at(0);
    EXPECT_EQ(track.title, "Harbour");
    EXPECT_EQ(track.number, 4);
    EXPECT_EQ(track.durationMs, 61500);
    EXPECT_EQ(titles("music.artist"), Titles{"The Quiet Hours"}); // "unsorted" is gone
}

TEST_F(ScannerTest, goesOnWhenTheProbeFails) {
    const std::string probe = temp.writeProgram("probe", "exit 1");
    temp.write("music/A/B/01 - C.mp3");
    const auto library = addLibrary("music", "music");
    Scanner probing(temp.path("db"), turn, {.ffprobe = probe});
    probing.scan(library);
    ASSERT_TRUE(settled(probing));
    EXPECT_EQ(titles("music.track"), Titles{"C"});
}

TEST_F(ScannerTest, examinesNothingThatBecameALinkMeanwhile) {
    temp.write("music/A/B/01 - One.mp3");
    temp.write("music/A/B/02 - Two.mp3");
    temp.write("outside.mp3");
    const std::string asked = temp.path("asked");
    const std::string probe = temp.writeProgram(
        "probe", "for last; do :; done; echo \"$last\" >> '" + asked + "'; exec ln -sf '" +
                     temp.path("outside.mp3") + "' '" + temp.path("music/A/B/02 - Two.mp3") + "'");
    const auto library = addLibrary("music", "music");
    Scanner probing(temp.path("db"), turn, {.ffprobe = probe});
    probing.scan(library);
    ASSERT_TRUE(settled(probing));
    ASSERT_TRUE(fs::is_symlink(temp.path("music/A/B/02 - Two.mp3"))) << "the test itself";
    EXPECT_EQ(test::readFile(asked), "file:" + temp.path("music/A/B/01 - One.mp3") + "\n");
}

TEST_F(ScannerTest, stopsPromptlyWhileAToolHangs) {
    const std::string started = temp.path("started");
    const std::string probe = temp.writeProgram("probe", ": > '" + started + "'; exec sleep 600");
    temp.write("music/A/B/01 - C.mp3");
    const auto library = addLibrary("music", "music");
    auto probing = std::make_unique<Scanner>(temp.path("db"), turn, ScannerTools{.ffprobe = probe});
    probing->scan(library);
    ASSERT_TRUE(eventually([&] { return fs::exists(started); }));
    const auto begin = std::chrono::steady_clock::now();
    probing.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
}

} // namespace
} // namespace ostrad
