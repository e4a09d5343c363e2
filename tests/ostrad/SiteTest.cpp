#include "ostrad/Site.h"

#include "tests/ostrad/TempFolder.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

namespace ostrad {
namespace {

namespace json = boost::json;
using test::eventually;
using test::TempFolder;
using Pairs = std::vector<std::pair<std::string, std::string>>;

class SiteTest : public testing::Test {
  protected:
    Reply ask(Method method, std::string_view target, Pairs headers = {}, std::string body = {}) {
        Request request;
        request.method = method;
        auto parsed = parseTarget(target);
        request.path = parsed->path;
        request.query = parsed->query;
        request.headers = std::move(headers);
        request.headers.emplace_back("host", "127.0.0.1:4280");
        request.body = std::move(body);
        return finished(site.handle(request));
    }
    Reply get(std::string_view target, Pairs headers = {}) {
        return ask(Method::get, target, std::move(headers));
    }
    Reply post(std::string_view target, std::string body) {
        return ask(Method::post, target, {{"content-type", "application/json"}}, std::move(body));
    }
    static std::string header(const Reply& reply, std::string_view name) {
        for (const auto& [key, value] : reply.headers) {
            if (key == name) {
                return value;
            }
        }
        return "";
    }
    static std::string error(const Reply& reply) {
        return json::parse(reply.body).at("error").as_string().c_str();
    }
    std::string add(std::string_view mode, const std::string& path) {
        return json::serialize(
            json::object{{"modeId", json::string_view(mode.data(), mode.size())}, {"path", path}});
    }
    bool settled() {
        return eventually([this] { return scanner.progress().phase == ScanProgress::Phase::idle; });
    }

    TempFolder temp;
    Catalogue catalogue{temp.path("db")};
    WriteTurn turn;
    Scanner scanner{temp.path("db"), turn, {}};
    AccountLink account{catalogue, [] { return std::chrono::steady_clock::now(); },
                        systemRandomBelow};
    DeviceLinks devices{[] { return std::chrono::steady_clock::now(); }, systemRandomBelow};
    Site site{{.address = {"127.0.0.1", 4280},
               .healthNonce = "n0nce",
               .serverName = "box",
               .artworkPath = temp.makeFolder("art")},
              catalogue,
              scanner,
              account,
              devices,
              turn};
};

TEST_F(SiteTest, repeatsTheNonceInCompactJson) {
    const Reply reply = get("/api/health");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, R"({"status":"ok","nonce":"n0nce"})");
    EXPECT_EQ(header(reply, "Cache-Control"), "no-store");
}

TEST_F(SiteTest, describesTheSevenModes) {
    const json::value body = json::parse(get("/api/modes").body);
    std::vector<std::string> ids;
    for (const json::value& mode : body.as_array()) {
        ids.emplace_back(mode.at("id").as_string());
        for (const json::value& type : mode.at("entityTypes").as_array()) {
            EXPECT_TRUE(std::string(type.at("id").as_string()).starts_with(ids.back() + "."));
            EXPECT_FALSE(type.at("name").as_string().empty());
            EXPECT_FALSE(type.at("plural").as_string().empty());
            EXPECT_TRUE(type.at("isPerson").is_bool());
        }
    }
    EXPECT_EQ(ids, (std::vector<std::string>{"audiobooks", "comics", "games", "movies", "music",
                                             "podcasts", "tv"}));
}

TEST_F(SiteTest, namesTheItemOfEachModeByTheSuffixItsClientsCount) {
    const std::vector<std::string> expected{"audiobooks.book", "comics.issue", "games.game",
                                            "movies.movie",    "music.track",  "podcasts.episode",
                                            "tv.episode"};
    std::vector<std::string> items;
    const json::value body = json::parse(get("/api/modes").body);
    for (const json::value& mode : body.as_array()) {
        for (const json::value& type : mode.at("entityTypes").as_array()) {
            if (std::ranges::find(expected, std::string(type.at("id").as_string())) !=
                expected.end()) {
                items.emplace_back(type.at("id").as_string());
            }
        }
    }
    EXPECT_EQ(items, expected);
}

TEST_F(SiteTest, addsListsAndRemovesALibrary) {
    temp.write("films/A (2001).mkv");
    const Reply added = post("/api/libraries", add("movies", temp.path("films")));
    ASSERT_EQ(added.status, 201) << added.body;
    ASSERT_TRUE(settled());
    const json::value listed = json::parse(get("/api/libraries").body);
    ASSERT_EQ(listed.as_array().size(), 1U);
    const json::value& library = listed.as_array()[0];
    EXPECT_EQ(library.at("modeId").as_string(), "movies");
    EXPECT_EQ(library.at("name").as_string(), "films");
    EXPECT_EQ(library.at("path").as_string().c_str(), temp.path("films"));
    EXPECT_EQ(library.at("itemCount").as_int64(), 1);
    EXPECT_FALSE(library.at("scanning").as_bool());
    EXPECT_TRUE(library.at("scannedAt").is_int64());

    const std::string id = std::to_string(library.at("id").as_int64());
    EXPECT_EQ(ask(Method::del, "/api/libraries/" + id).status, 200);
    EXPECT_EQ(get("/api/libraries").body, "[]");
    EXPECT_EQ(ask(Method::del, "/api/libraries/" + id).status, 404);
    EXPECT_EQ(header(get("/api/entities?type=movies.movie"), "X-Total-Count"), "0");
}

TEST_F(SiteTest, refusesALibraryWithASentence) {
    temp.write("films/A.mkv");
    temp.makeFolder("films/inside");
    ASSERT_EQ(post("/api/libraries", add("movies", temp.path("films"))).status, 201);
    EXPECT_EQ(post("/api/libraries", add("movies", temp.path("films"))).status, 409);
    EXPECT_EQ(post("/api/libraries", add("movies", temp.path("films/inside"))).status, 409);
    EXPECT_EQ(error(post("/api/libraries", add("paintings", "/"))),
              "Choose one of the media modes.");
    EXPECT_EQ(error(post("/api/libraries", add("movies", temp.path("gone")))),
              "There is no folder at " + temp.path("gone") + ".");
    EXPECT_EQ(post("/api/libraries", add("movies", "films")).status, 400);
    EXPECT_EQ(post("/api/libraries", "{}").status, 400);
    EXPECT_EQ(post("/api/libraries", "[1]").status, 400);
    EXPECT_EQ(post("/api/libraries", "{\"modeId\":7,\"path\":8}").status, 400);
    EXPECT_EQ(post("/api/libraries", "not json").status, 400);
    EXPECT_EQ(post("/api/libraries", std::string(1000, '[')).status, 400);
    EXPECT_EQ(ask(Method::post, "/api/libraries", {}, add("movies", "/tmp")).status, 415);
    EXPECT_EQ(
        ask(Method::post, "/api/libraries", {{"content-type", "text/plain"}}, add("movies", "/tmp"))
            .status,
        415);
}

TEST_F(SiteTest, rescansOnDemand) {
    temp.makeFolder("films");
    post("/api/libraries", add("movies", temp.path("films")));
    ASSERT_TRUE(settled());
    temp.write("films/New.mkv");
    const auto id = std::to_string(catalogue.libraries().at(0).id);
    EXPECT_EQ(post("/api/libraries/" + id + "/scan", "").status, 202);
    ASSERT_TRUE(settled());
    EXPECT_EQ(header(get("/api/entities?type=movies.movie"), "X-Total-Count"), "1");
    EXPECT_EQ(post("/api/libraries/999/scan", "").status, 404);
    EXPECT_EQ(post("/api/libraries/x/scan", "").status, 404);
}

TEST_F(SiteTest, countsBeforeItLimits) {
    temp.write("films/A.mkv");
    temp.write("films/B.mkv");
    temp.write("films/C.mkv");
    post("/api/libraries", add("movies", temp.path("films")));
    ASSERT_TRUE(settled());
    const Reply reply = get("/api/entities?type=movies.movie&limit=1&inLibrary=1");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(header(reply, "X-Total-Count"), "3");
    EXPECT_EQ(json::parse(reply.body).as_array().size(), 1U);
}

TEST_F(SiteTest, describesAnEntity) {
    temp.write("music/A/B (1999)/02 - C.mp3", "12345");
    post("/api/libraries", add("music", temp.path("music")));
    ASSERT_TRUE(settled());
    const json::value track = json::parse(get("/api/entities?type=music.track").body).at(0);
    EXPECT_EQ(track.at("title").as_string(), "C");
    EXPECT_EQ(track.at("number").as_int64(), 2);
    EXPECT_EQ(track.at("parentTitle").as_string(), "B");
    EXPECT_EQ(track.at("grandparentTitle").as_string(), "A");
    EXPECT_EQ(track.at("media").at("kind").as_string(), "audio");
    EXPECT_EQ(track.at("media").at("contentType").as_string(), "audio/mpeg");
    EXPECT_EQ(track.at("media").at("size").as_int64(), 5);
    const json::value album = json::parse(get("/api/entities?type=music.album").body).at(0);
    EXPECT_EQ(album.at("year").as_int64(), 1999);
    EXPECT_EQ(album.at("childCount").as_int64(), 1);
    EXPECT_FALSE(album.as_object().contains("media"));
    const std::string id = std::to_string(album.at("id").as_int64());
    EXPECT_EQ(json::parse(get("/api/entities/" + id).body), album);
    EXPECT_EQ(header(get("/api/entities?parentId=" + id), "X-Total-Count"), "1");
    EXPECT_EQ(get("/api/entities/999").status, 404);
}

class BadEntityQuery : public SiteTest, public testing::WithParamInterface<const char*> {};

TEST_P(BadEntityQuery, isRefused) {
    const Reply reply = get(std::string("/api/entities?") + GetParam());
    EXPECT_EQ(reply.status, 400);
    EXPECT_FALSE(error(reply).empty());
    EXPECT_EQ(header(reply, "X-Total-Count"), "");
}

INSTANTIATE_TEST_SUITE_P(Site, BadEntityQuery,
                         testing::Values("", "limit=1", "type=music.song", "type=",
                                         "type=music.track&limit=-1", "type=music.track&limit=x",
                                         "type=music.track&limit=", "type=music.track&limit=501",
                                         "type=music.track&limit=1.0", "type=music.track&offset=-1",
                                         "type=music.track&offset=99999999999999999999",
                                         "type=music.track&inLibrary=2",
                                         "type=music.track&libraryId=a", "parentId=a"));

TEST_F(SiteTest, writesValidJsonForNamesThatAreNotUtf8) {
    temp.write("films/caf\xE9.mkv");
    post("/api/libraries", add("movies", temp.path("films")));
    ASSERT_TRUE(settled());
    const json::value films = json::parse(get("/api/entities?type=movies.movie").body);
    EXPECT_EQ(films.at(0).at("title").as_string(), "caf\xEF\xBF\xBD");
}

TEST_F(SiteTest, servesAFileOnlyByItsId) {
    temp.write("films/A.webm", "content");
    temp.write("secret", "s");
    post("/api/libraries", add("movies", temp.path("films")));
    ASSERT_TRUE(settled());
    const auto id = catalogue.entities({.type = "movies.movie"}).entities.at(0).id;
    const Reply reply = get("/media/" + std::to_string(id));
    EXPECT_EQ(reply.status, 200);
    ASSERT_TRUE(reply.file);
    EXPECT_EQ(reply.file->length, 7U);
    EXPECT_EQ(header(reply, "Content-Type"), "video/webm");
    EXPECT_EQ(header(reply, "X-Content-Type-Options"), "nosniff");
    for (const char* target : {"/media/0", "/media/-1", "/media/x", "/media/../secret",
                               "/media/%2e%2e%2fsecret", "/media/", "/media/1/2"}) {
        EXPECT_EQ(get(target).status, 404) << target;
    }
}

TEST_F(SiteTest, servesNoFileThatBecameALink) {
    temp.write("films/A.webm", "content");
    temp.write("secret.webm", "secret");
    post("/api/libraries", add("movies", temp.path("films")));
    ASSERT_TRUE(settled());
    const auto id = catalogue.entities({.type = "movies.movie"}).entities.at(0).id;
    temp.remove("films/A.webm");
    std::filesystem::create_symlink(temp.path("secret.webm"), temp.path("films/A.webm"));
    EXPECT_EQ(get("/media/" + std::to_string(id)).status, 404);
}

TEST_F(SiteTest, answersConditionalAndRangeRequests) {
    temp.write("films/A.webm", "0123456789");
    post("/api/libraries", add("movies", temp.path("films")));
    ASSERT_TRUE(settled());
    const std::string target =
        "/media/" + std::to_string(catalogue.entities({.type = "movies.movie"}).entities.at(0).id);
    const std::string tag = header(get(target), "ETag");
    EXPECT_EQ(get(target, {{"if-none-match", tag}}).status, 304);
    const Reply part = get(target, {{"range", "bytes=2-4"}});
    EXPECT_EQ(part.status, 206);
    EXPECT_EQ(header(part, "Content-Range"), "bytes 2-4/10");
    EXPECT_EQ(part.file->offset, 2U);
    EXPECT_EQ(part.file->length, 3U);
    EXPECT_EQ(get(target, {{"range", "bytes=2-4"}, {"if-range", tag}}).status, 206);
    EXPECT_EQ(get(target, {{"range", "bytes=2-4"}, {"if-range", "\"old\""}}).status, 200);
    const Reply beyond = get(target, {{"range", "bytes=10-"}});
    EXPECT_EQ(beyond.status, 416);
    EXPECT_EQ(header(beyond, "Content-Range"), "bytes */10");
}

TEST_F(SiteTest, servesPicturesFromTheArtworkFolderOnly) {
    temp.write("art/1-2.jpg", "jpeg");
    EXPECT_EQ(get("/art/1-2.jpg").status, 200);
    EXPECT_EQ(header(get("/art/1-2.jpg"), "Content-Type"), "image/jpeg");
    for (const char* target : {"/art/3-4.jpg", "/art/..%2fdb", "/art/db", "/art/"}) {
        EXPECT_EQ(get(target).status, 404) << target;
    }
}

TEST_F(SiteTest, servesItsPagesUnderAStrictPolicy) {
    for (const char* target : {"/", "/link?code=X", "/account", "/app.css", "/app.js"}) {
        const Reply reply = get(target);
        EXPECT_EQ(reply.status, 200) << target;
        EXPECT_FALSE(reply.body.empty());
        EXPECT_NE(header(reply, "Content-Security-Policy").find("default-src 'none'"),
                  std::string::npos);
        EXPECT_EQ(header(reply, "X-Content-Type-Options"), "nosniff");
        EXPECT_EQ(header(reply, "Referrer-Policy"), "no-referrer");
    }
    EXPECT_NE(get("/").body.find("<title>Zorvane</title>"), std::string::npos);
    EXPECT_EQ(header(get("/app.js"), "Content-Type"), "text/javascript; charset=utf-8");
}

TEST_F(SiteTest, namesNoOtherHostInItsPages) {
    for (const char* target : {"/", "/link", "/account", "/app.css", "/app.js", "/list.js",
                               "/stream.js", "/account.js"}) {
        const std::string body = get(target).body;
        EXPECT_EQ(body.find("https://"), std::string::npos) << target;
        for (std::size_t at = body.find("http://"); at != std::string::npos;
             at = body.find("http://", at + 1)) {
            EXPECT_TRUE(body.substr(at).starts_with("http://www.w3.org/2000/svg")) << target;
        }
    }
}

TEST_F(SiteTest, saysNotFoundAndWhichMethodsItTakes) {
    EXPECT_EQ(get("/api/nothing").status, 404);
    EXPECT_EQ(header(get("/api/nothing"), "Content-Type"), "application/json");
    EXPECT_EQ(get("/nothing").status, 404);
    EXPECT_EQ(header(get("/nothing"), "Content-Type"), "text/html; charset=utf-8");
    const auto allow = [this](Method method, std::string_view target) {
        const Reply reply = ask(method, target, {{"content-type", "application/json"}}, "{}");
        EXPECT_EQ(reply.status, 405) << target;
        return header(reply, "Allow");
    };
    EXPECT_EQ(allow(Method::post, "/"), "GET, HEAD");
    EXPECT_EQ(allow(Method::other, "/api/health"), "GET, HEAD");
    EXPECT_EQ(allow(Method::del, "/api/libraries"), "GET, HEAD, POST");
    EXPECT_EQ(allow(Method::post, "/api/libraries/1"), "DELETE");
    EXPECT_EQ(allow(Method::get, "/api/libraries/1/scan"), "POST");
    EXPECT_EQ(allow(Method::get, "/api/account/unlink"), "POST");
}

TEST_F(SiteTest, turnsAFailingDatabaseIntoAReply) {
    Database other(temp.path("db"));
    other.execute("DROP TABLE entities");
    EXPECT_EQ(get("/api/entities?type=music.track").status, 500);
    EXPECT_EQ(get("/api/health").status, 200);
}

TEST_F(SiteTest, listsFoldersToChooseFrom) {
    temp.makeFolder("pick/one");
    const json::value body = json::parse(get("/api/folders?path=" + temp.path("pick")).body);
    EXPECT_EQ(body.at("folders"), json::array{"one"});
    EXPECT_EQ(body.at("parent").as_string().c_str(), temp.path());
    EXPECT_EQ(get("/api/folders?path=" + temp.path("gone")).status, 400);
}

TEST_F(SiteTest, refusesEveryForeignRequestButAVisit) {
    const Pairs foreign{{"sec-fetch-site", "cross-site"}, {"sec-fetch-mode", "no-cors"}};
    const Pairs visit{{"sec-fetch-site", "cross-site"},
                      {"sec-fetch-mode", "navigate"},
                      {"sec-fetch-dest", "document"}};
    EXPECT_EQ(get("/", visit).status, 200);
    for (const char* target : {"/", "/app.js", "/api/libraries", "/api/account/link/start"}) {
        EXPECT_EQ(get(target, foreign).status, 403) << target;
    }
    EXPECT_EQ(get("/api/account/link/start", visit).status, 403);
    EXPECT_EQ(account.pendingCode(), std::nullopt);
}

TEST_F(SiteTest, keepsHowFarSomebodyHasCome) {
    temp.write("films/A.mkv", "x");
    ASSERT_EQ(post("/api/libraries", add("movies", temp.path("films"))).status, 201);
    ASSERT_TRUE(settled());
    const json::value film = json::parse(get("/api/entities?type=movies.movie").body).at(0);
    const std::string address = "/api/entities/" + std::to_string(film.at("id").as_int64());
    const auto now = [&] { return json::parse(get(address).body).as_object(); };
    EXPECT_FALSE(now().contains("positionMs"));
    EXPECT_FALSE(now().contains("watched"));
    Database(temp.path("db")).execute("UPDATE entities SET duration_ms = 100000");

    EXPECT_EQ(post(address + "/progress", R"({"positionMs":60000})").status, 200);
    EXPECT_EQ(now().at("positionMs"), 60'000);
    EXPECT_FALSE(now().contains("watched"));
    EXPECT_EQ(post(address + "/progress", R"({"positionMs":96000})").status, 200);
    EXPECT_FALSE(now().contains("positionMs")) << "the credits are the end";
    EXPECT_EQ(now().at("watched"), true);
    EXPECT_EQ(post(address + "/progress", R"({"positionMs":1000})").status, 200);
    EXPECT_EQ(now().at("positionMs"), 1000);
    EXPECT_EQ(now().at("watched"), true) << "seen once is seen";
    EXPECT_EQ(post(address + "/progress", R"({"positionMs":0,"watched":false})").status, 200);
    EXPECT_FALSE(now().contains("watched"));

    for (const char* wrong : {"{}", R"({"positionMs":-1})", R"({"positionMs":"1"})",
                              R"({"positionMs":1,"watched":1})", R"({"positionMs":1e30})"}) {
        EXPECT_EQ(post(address + "/progress", wrong).status, 400) << wrong;
    }
    EXPECT_EQ(post("/api/entities/999/progress", R"({"positionMs":1})").status, 404);
    scanner.scan(film.at("libraryId").as_int64());
    ASSERT_TRUE(settled());
    EXPECT_EQ(post(address + "/progress", R"({"positionMs":5})").status, 200) << "still the same";
}

TEST_F(SiteTest, searchesEverythingAtOnce) {
    temp.write("films/Harbour.mkv", "x");
    temp.write("music/A Band/Harbour Songs/01 - Low Tide.mp3", "x");
    ASSERT_EQ(post("/api/libraries", add("movies", temp.path("films"))).status, 201);
    ASSERT_EQ(post("/api/libraries", add("music", temp.path("music"))).status, 201);
    ASSERT_TRUE(settled());
    const Reply found = get("/api/entities?search=harbour");
    EXPECT_EQ(header(found, "X-Total-Count"), "2");
    EXPECT_EQ(get("/api/entities?search=").status, 400);
    EXPECT_EQ(get("/api/entities").status, 400);
}

TEST_F(SiteTest, delaysNobodyElseForASearch) {
    const auto isPutOff = [this](std::string_view query) {
        Request request;
        request.method = Method::get;
        request.path = "/api/entities";
        request.query = parseTarget(std::string("/?") + std::string(query))->query;
        request.headers.emplace_back("host", "127.0.0.1:4280");
        return static_cast<bool>(site.handle(request).onWorker);
    };
    EXPECT_TRUE(isPutOff("search=harbour"));
    EXPECT_TRUE(isPutOff("search=harbour&type=movies.movie"));
    EXPECT_FALSE(isPutOff("type=movies.movie"));
}

TEST_F(SiteTest, convertsNothingWithoutItsTools) {
    temp.write("films/A.mkv", "x");
    ASSERT_EQ(post("/api/libraries", add("movies", temp.path("films"))).status, 201);
    ASSERT_TRUE(settled());
    const json::value film = json::parse(get("/api/entities?type=movies.movie").body).at(0);
    const std::string address = "/api/entities/" + std::to_string(film.at("id").as_int64());
    EXPECT_EQ(get(address + "/tracks").status, 501);
    EXPECT_EQ(get(address + "/subtitles?track=s0").status, 501);
    EXPECT_EQ(post(address + "/stream", "{}").status, 501);
    EXPECT_EQ(post("/api/entities/999/stream", "{}").status, 404);
    EXPECT_EQ(get("/hls/0123-0.m4s").status, 410);
    EXPECT_EQ(get("/hls/0123").status, 404);
}

} // namespace
} // namespace ostrad
