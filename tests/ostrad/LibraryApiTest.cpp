#include "tests/ostrad/OstradFixture.h"

#include <csignal>

namespace ostrad::test {
namespace {

class LibraryApi : public OstradTest {};

TEST_F(LibraryApi, takesALibraryFromItsFirstScanToItsRemoval) {
    temp.write("music/The Quiet Hours/Low Tide/01 - Harbour.mp3");
    temp.write("music/The Quiet Hours/Low Tide/02 - Lanterns.mp3");
    EXPECT_EQ(get("/api/libraries").body, "[]");
    const RawReply added = addLibrary("music", temp.path("music"));
    EXPECT_EQ(added.status, 201) << added.body;
    const auto id = boost::json::parse(added.body).at("id").as_int64();
    ASSERT_TRUE(scanned());

    const RawReply tracks = get("/api/entities?type=music.track&limit=1&inLibrary=1");
    EXPECT_EQ(tracks.status, 200);
    EXPECT_EQ(tracks.header("x-total-count"), "2");
    EXPECT_EQ(json("/api/libraries").at(0).at("itemCount").as_int64(), 2);

    temp.write("music/The Quiet Hours/Low Tide/03 - Home.mp3");
    EXPECT_EQ(postJson(port, "/api/libraries/" + std::to_string(id) + "/scan", "{}").status, 202);
    ASSERT_TRUE(scanned());
    EXPECT_EQ(get("/api/entities?type=music.track&limit=1").header("x-total-count"), "3");

    EXPECT_EQ(exchange(port, "DELETE", "/api/libraries/" + std::to_string(id)).status, 200);
    EXPECT_EQ(get("/api/libraries").body, "[]");
    EXPECT_EQ(get("/api/entities?type=music.track&limit=1").header("x-total-count"), "0");
}

TEST_F(LibraryApi, scansAgainAtTheNextStart) {
    temp.write("films/A.mkv");
    addLibrary("movies", temp.path("films"));
    ASSERT_TRUE(scanned());
    server->signal(SIGTERM);
    EXPECT_EQ(server->wait(), 0);
    temp.write("films/B.mkv");
    start();
    ASSERT_TRUE(scanned());
    EXPECT_EQ(get("/api/entities?type=movies.movie&limit=1").header("x-total-count"), "2");
}

TEST_F(LibraryApi, keepsItsDataThroughAKill) {
    temp.write("films/A.mkv");
    addLibrary("movies", temp.path("films"));
    ASSERT_TRUE(scanned());
    const std::string before = get("/api/entities?type=movies.movie").body;
    server->signal(SIGKILL);
    EXPECT_EQ(server->wait(), 128 + SIGKILL);
    start();
    ASSERT_TRUE(scanned());
    EXPECT_EQ(get("/api/entities?type=movies.movie").body, before);
}

TEST_F(LibraryApi, answersWhileItScans) {
    for (int i = 0; i < 3000; ++i) {
        temp.write("films/" + std::to_string(i % 50) + "/Film " + std::to_string(i) + ".mkv", "");
    }
    EXPECT_EQ(addLibrary("movies", temp.path("films")).status, 201);
    temp.makeFolder("other");
    EXPECT_EQ(addLibrary("tv", temp.path("other")).status, 201);
    EXPECT_EQ(get("/api/health").status, 200);
    ASSERT_TRUE(scanned());
    EXPECT_EQ(get("/api/entities?type=movies.movie&limit=1").header("x-total-count"), "3000");
}

} // namespace
} // namespace ostrad::test
