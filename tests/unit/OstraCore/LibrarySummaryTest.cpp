#include "mac/OstraCore/LibrarySummary.h"

#include "platform/testing/ScriptedHttpClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <string>
#include <vector>

namespace ostra {
namespace {

using namespace std::chrono_literals;
using platform::HttpError;
using platform::HttpResponse;
using platform::testing::ScriptedHttpClient;
using testing::ElementsAre;
using testing::IsEmpty;
using Answer = ScriptedHttpClient::Answer;
using Limits = std::numeric_limits<std::int64_t>;

constexpr std::string_view base = "http://127.0.0.1:4280";

ModeSummary counted(std::optional<std::int64_t> items, std::int64_t libraries = 0) {
    return {.id = "m",
            .name = "M",
            .itemCount = items,
            .singularItemName = "item",
            .pluralItemName = "items",
            .libraryCount = libraries};
}

TEST(LibrarySummary, addsUpTheCountsThatAreThere) {
    EXPECT_EQ(LibrarySummary{}.totalItems(), std::nullopt);
    EXPECT_EQ((LibrarySummary{{counted(std::nullopt), counted(std::nullopt)}}.totalItems()),
              std::nullopt);
    EXPECT_EQ((LibrarySummary{{counted(std::nullopt), counted(3), counted(4)}}.totalItems()), 7);
    EXPECT_EQ((LibrarySummary{{counted(0)}}.totalItems()), 0);
    EXPECT_EQ((LibrarySummary{{counted(5), counted(-7)}}.totalItems()), -2);
}

TEST(LibrarySummary, hasNoTotalOfItemsThatOverflows) {
    EXPECT_EQ((LibrarySummary{{counted(Limits::max()), counted(1)}}.totalItems()), std::nullopt);
    EXPECT_EQ((LibrarySummary{{counted(Limits::min()), counted(-1)}}.totalItems()), std::nullopt);
    EXPECT_EQ((LibrarySummary{{counted(Limits::max()), counted(0)}}.totalItems()), Limits::max());
}

TEST(LibrarySummary, countsLibrariesWithoutOverflow) {
    EXPECT_EQ(LibrarySummary{}.totalLibraries(), 0);
    EXPECT_FALSE(LibrarySummary{}.hasConfiguredLibraries());
    EXPECT_FALSE((LibrarySummary{{counted(9, 0)}}.hasConfiguredLibraries()));
    EXPECT_EQ((LibrarySummary{{counted(1, 2), counted(1, 3)}}.totalLibraries()), 5);
    EXPECT_TRUE((LibrarySummary{{counted({}, 1)}}.hasConfiguredLibraries()));
    EXPECT_EQ((LibrarySummary{{counted({}, Limits::max()), counted({}, 1)}}.totalLibraries()),
              Limits::max());
    EXPECT_EQ((LibrarySummary{{counted({}, Limits::min()), counted({}, -1)}}.totalLibraries()),
              Limits::min());
}

class LibrarySummaryTest : public testing::Test {
  protected:
    LibrarySummaryTest() {
        session.script = [this](const auto& request) -> std::optional<Answer> {
            const std::string target = request.url.substr(base.size());
            const auto found = answers.find(target);
            return found == answers.end() ? Answer{response(404, "")} : found->second;
        };
    }

    static platform::HttpResult response(int status, std::string body,
                                         platform::HttpHeaders headers = {}) {
        return HttpResponse{
            .status = status, .headers = std::move(headers), .body = std::move(body)};
    }
    static Answer total(std::string value, std::string name = "X-Total-Count") {
        return {response(200, "[]", {{std::move(name), std::move(value)}})};
    }
    static std::string entities(const std::string& type) {
        return "/api/entities?type=" + type + "&limit=1&inLibrary=1";
    }
    static std::string mode(const std::string& id, const std::vector<std::string>& types) {
        std::string text = R"({"id":")" + id + R"(","name":"The )" + id + R"(","entityTypes":[)";
        for (const std::string& type : types) {
            const std::string name = type.substr(type.rfind('.') + 1);
            text += (text.back() == '[' ? "" : ",") +
                    (R"({"id":")" + type + R"(","name":")" + name + "\"}");
        }
        return text + "]}";
    }
    void modes(const std::vector<std::string>& all) {
        std::string text;
        for (const std::string& each : all) {
            text += (text.empty() ? "" : ",") + each;
        }
        answers["/api/modes"] = Answer{response(200, "[" + text + "]")};
    }

    void start(std::string_view root = "http://127.0.0.1:4280/") {
        LibrarySummaryClient::fetch(Url(root), session, scheduler.backgroundQueues(),
                                    [this](auto summary) {
                                        EXPECT_FALSE(scheduler.mainQueue().isMainThread());
                                        summaries.push_back(std::move(summary));
                                    });
    }
    // The one summary of a pass from start to end.
    std::optional<LibrarySummary> fetch() {
        summaries.clear();
        start();
        scheduler.advance(10s);
        EXPECT_EQ(summaries.size(), 1U);
        return summaries.empty() ? std::nullopt : summaries.front();
    }
    [[nodiscard]] std::vector<std::string> targets() const {
        std::vector<std::string> all;
        for (const auto& request : session.requests) {
            all.push_back(request.url.substr(base.size()));
        }
        return all;
    }

    platform::testing::ManualScheduler scheduler;
    ScriptedHttpClient session{scheduler};
    std::map<std::string, std::optional<Answer>> answers; // by target; nothing: no answer ever
    std::vector<std::optional<LibrarySummary>> summaries;
};

TEST_F(LibrarySummaryTest, countsEveryModeOfAServer) {
    modes({R"({"id":"music","name":"Music","entityTypes":[
                {"id":"music.artist","name":"artist","plural":"artists"},
                {"id":"music.album","name":"album","plural":"albums"},
                {"id":"music.track","name":"Track","plural":"Tracks"}]})",
           mode("tv", {"tv.show", "tv.season", "tv.episode", "tv.special.episode"}),
           mode("photos", {"photos.album", "photos.photo"})});
    answers["/api/libraries"] = Answer{response(
        200, R"([{"modeId":"music"},{"modeId":"tv"},{"modeId":"music"},{"modeId":"gone"}])")};
    answers[entities("music.track")] = total("250");
    answers[entities("tv.episode")] = total("10");
    answers[entities("tv.special.episode")] = total("2");
    answers[entities("photos.photo")] = total("0");

    const auto summary = fetch();

    ASSERT_TRUE(summary);
    EXPECT_THAT(summary->modes, ElementsAre(ModeSummary{.id = "music",
                                                        .name = "Music",
                                                        .itemCount = 250,
                                                        .singularItemName = "track",
                                                        .pluralItemName = "tracks",
                                                        .libraryCount = 2},
                                            ModeSummary{.id = "tv",
                                                        .name = "The tv",
                                                        .itemCount = 12,
                                                        .singularItemName = "item",
                                                        .pluralItemName = "items",
                                                        .libraryCount = 1},
                                            ModeSummary{.id = "photos",
                                                        .name = "The photos",
                                                        .itemCount = 0,
                                                        .singularItemName = "photo",
                                                        .pluralItemName = "photos",
                                                        .libraryCount = 0}));
    EXPECT_EQ(summary->totalLibraries(), 3);
    EXPECT_EQ(summary->totalItems(), 262);
    EXPECT_THAT(targets(), ElementsAre("/api/modes", "/api/libraries", entities("music.track"),
                                       entities("tv.episode"), entities("tv.special.episode"),
                                       entities("photos.photo")));
}

TEST_F(LibrarySummaryTest, asksWithPlainGetsOfTwoSeconds) {
    modes({mode("music", {"music.track"})});
    fetch();
    ASSERT_EQ(session.requests.size(), 3U);
    for (const auto& request : session.requests) {
        EXPECT_EQ(request.method, "GET");
        EXPECT_TRUE(request.headers.empty());
        EXPECT_EQ(request.body, "");
        EXPECT_EQ(request.timeout, 2s);
        EXPECT_EQ(request.maxRedirects, 0);
    }
}

TEST_F(LibrarySummaryTest, findsTheServerWithAndWithoutASlashAtItsEnd) {
    modes({mode("music", {"music.track"})});
    start("http://127.0.0.1:4280");
    scheduler.advance(10s);
    EXPECT_THAT(targets(), ElementsAre("/api/modes", "/api/libraries", entities("music.track")));
}

TEST_F(LibrarySummaryTest, isNothingWhenTheModesCannotBeHad) {
    using Kind = HttpError::Kind;
    const std::string good = "[" + mode("music", {"music.track"}) + "]";
    const std::vector<std::optional<Answer>> failures{
        Answer{response(204, "")},
        Answer{response(500, good)},
        Answer{response(201, good)},
        Answer{response(302, good)},
        Answer{response(200, "")},
        Answer{response(200, "{}")},
        Answer{response(200, good.substr(0, good.size() - 1))},
        Answer{response(200, "[" + std::string(100'000, '['))},
        Answer{response(200, R"([{"id":"music","name":"Music"}])")},
        Answer{std::unexpected(HttpError{.kind = Kind::cannotConnect, .message = ""})},
        Answer{std::unexpected(HttpError{.kind = Kind::bodyTooLarge, .message = ""})},
        Answer{std::unexpected(HttpError{.kind = Kind::cancelled, .message = ""})},
        Answer{response(200, good), 2001ms},
        std::nullopt,
    };
    for (const auto& failure : failures) {
        session.requests.clear();
        answers["/api/modes"] = failure;
        EXPECT_EQ(fetch(), std::nullopt);
        EXPECT_THAT(targets(), ElementsAre("/api/modes")) << "nothing else is asked";
    }
}

TEST_F(LibrarySummaryTest, isEmptyForAServerWithoutModes) {
    modes({});
    answers["/api/libraries"] = Answer{response(200, R"([{"modeId":"music"}])")};
    EXPECT_EQ(fetch(), LibrarySummary{});
    EXPECT_THAT(targets(), ElementsAre("/api/modes", "/api/libraries"));
}

TEST_F(LibrarySummaryTest, countsNoLibrariesWhenTheyCannotBeHad) {
    modes({mode("music", {"music.track"}), mode("movies", {"movies.movie"})});
    answers[entities("music.track")] = total("3");
    answers[entities("movies.movie")] = total("4");
    for (const std::optional<Answer>& failure :
         {std::optional(Answer{response(500, R"([{"modeId":"music"}])")}),
          std::optional(Answer{response(200, R"([{"modeId":"music"},{}])")}),
          std::optional(Answer{response(200, "null")}), std::optional<Answer>()}) {
        answers["/api/libraries"] = failure;
        const auto summary = fetch();
        ASSERT_TRUE(summary);
        EXPECT_EQ(summary->totalLibraries(), 0);
        EXPECT_FALSE(summary->hasConfiguredLibraries());
        EXPECT_EQ(summary->totalItems(), 7);
    }
}

TEST_F(LibrarySummaryTest, asksNothingForAModeWithoutTypes) {
    modes({mode("music", {})});
    answers["/api/libraries"] = Answer{response(200, R"([{"modeId":"music"}])")};
    EXPECT_EQ(fetch(), (LibrarySummary{{{.id = "music",
                                         .name = "The music",
                                         .itemCount = std::nullopt,
                                         .singularItemName = "item",
                                         .pluralItemName = "items",
                                         .libraryCount = 1}}}));
    EXPECT_EQ(session.requests.size(), 2U);
}

TEST_F(LibrarySummaryTest, countsAPersonWhenThereIsNobodyElse) {
    modes({R"({"id":"people","name":"People","entityTypes":[
                {"id":"people.actor","name":"actor","isPerson":true},
                {"id":"people.singer","name":"singer","isPerson":true}]})"});
    answers[entities("people.actor")] = total("9");
    EXPECT_EQ(fetch()->modes.at(0).itemCount, 9);
}

TEST_F(LibrarySummaryTest, readsTheTotalFromItsHeaderWhateverItsCase) {
    modes({mode("music", {"music.track"})});
    for (const std::string name : {"X-Total-Count", "x-total-count", "X-TOTAL-COUNT"}) {
        answers[entities("music.track")] = total("42", name);
        EXPECT_EQ(fetch()->modes.at(0).itemCount, 42) << name;
    }
    answers[entities("music.track")] = total("42", "X-Total");
    EXPECT_EQ(fetch()->modes.at(0).itemCount, std::nullopt);
}

TEST_F(LibrarySummaryTest, hasNoCountWhereTheTotalIsNoNumber) {
    modes({mode("music", {"music.track"})});
    for (const std::string value : {"many", "", "4 2", "1e3", "9223372036854775808"}) {
        answers[entities("music.track")] = total(value);
        EXPECT_EQ(fetch()->modes.at(0).itemCount, std::nullopt) << value;
    }
    answers[entities("music.track")] = total("-3");
    EXPECT_EQ(fetch()->modes.at(0).itemCount, -3);
}

TEST_F(LibrarySummaryTest, takesATotalFromASuccessfulReplyOnlyAndNeverLooksAtItsBody) {
    modes({mode("music", {"music.track"})});
    for (const int status : {201, 204, 206, 301, 404, 500}) {
        answers[entities("music.track")] =
            Answer{response(status, "[]", {{"X-Total-Count", "42"}})};
        EXPECT_EQ(fetch()->modes.at(0).itemCount, std::nullopt) << status;
    }
    answers[entities("music.track")] =
        Answer{response(200, "not JSON at all \xFF", {{"X-Total-Count", "42"}})};
    EXPECT_EQ(fetch()->modes.at(0).itemCount, 42);
}

TEST_F(LibrarySummaryTest, leavesFailedTypesOutOfTheSum) {
    modes({mode("mixed", {"a.track", "a.movie", "a.book"})});
    answers[entities("a.track")] = total("5");
    answers[entities("a.movie")] = std::nullopt;
    answers[entities("a.book")] = total("6");
    EXPECT_EQ(fetch()->modes.at(0).itemCount, 11);

    answers[entities("a.track")] = Answer{response(500, "")};
    answers[entities("a.book")] = total("none");
    EXPECT_EQ(fetch()->modes.at(0).itemCount, std::nullopt);
}

TEST_F(LibrarySummaryTest, hasNoCountForTotalsThatOverflow) {
    modes({mode("mixed", {"a.track", "a.movie"}), mode("music", {"music.track"})});
    answers[entities("a.track")] = total("9223372036854775807");
    answers[entities("a.movie")] = total("1");
    answers[entities("music.track")] = total("9223372036854775807");
    const auto summary = fetch();
    ASSERT_TRUE(summary);
    EXPECT_EQ(summary->modes.at(0).itemCount, std::nullopt);
    EXPECT_EQ(summary->modes.at(1).itemCount, Limits::max());
    EXPECT_EQ(summary->totalItems(), Limits::max());
}

TEST_F(LibrarySummaryTest, keepsTheServersOrderWhateverTheOrderOfAnswers) {
    std::vector<std::string> all;
    for (int i = 0; i < 10; ++i) {
        const std::string id = "m" + std::to_string(i);
        all.push_back(mode(id, {id + ".track"}));
        Answer answer = total(std::to_string(i));
        answer.after = std::chrono::milliseconds(1000 - 100 * i);
        answers[entities(id + ".track")] = answer;
    }
    modes(all);
    const auto summary = fetch();
    ASSERT_TRUE(summary);
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(summary->modes.at(i).id, "m" + std::to_string(i));
        EXPECT_EQ(summary->modes.at(i).itemCount, static_cast<std::int64_t>(i));
    }
}

TEST_F(LibrarySummaryTest, putsModesOfTheSameIdTogether) {
    modes({mode("a", {"a.track"}), mode("b", {}), mode("a", {"a.book"})});
    answers["/api/libraries"] = Answer{response(200, R"([{"modeId":"a"}])")};
    answers[entities("a.track")] = total("1");
    answers[entities("a.book")] = total("2");
    const auto summary = fetch();
    ASSERT_EQ(summary->modes.size(), 3U);
    EXPECT_EQ(summary->modes[0].itemCount, 1);
    EXPECT_EQ(summary->modes[1].itemCount, 2);
    EXPECT_EQ(summary->modes[2].id, "b");
    EXPECT_EQ(summary->modes[1].libraryCount, 1);
}

TEST_F(LibrarySummaryTest, asksForAllTotalsAtOnce) {
    std::vector<std::string> types;
    for (int i = 0; i < 100; ++i) {
        types.push_back("t" + std::to_string(i) + ".track");
        Answer answer = total("1");
        answer.after = 1900ms;
        answers[entities(types.back())] = answer;
    }
    modes({mode("music", types)});
    start();
    scheduler.runReady();
    EXPECT_EQ(session.requests.size(), 102U);
    EXPECT_THAT(summaries, IsEmpty());
    scheduler.advance(1900ms);
    ASSERT_EQ(summaries.size(), 1U);
    EXPECT_EQ(summaries.front()->totalItems(), 100);
}

TEST_F(LibrarySummaryTest, givesUpOnAStalledServerAfterThreeTimesTwoSeconds) {
    modes({mode("music", {"music.track"})});
    answers["/api/modes"]->after = 2000ms;
    answers["/api/libraries"] = std::nullopt;
    answers[entities("music.track")] = std::nullopt;
    start();
    scheduler.advance(5999ms);
    EXPECT_THAT(summaries, IsEmpty());
    scheduler.advance(1ms);
    ASSERT_EQ(summaries.size(), 1U);
    EXPECT_EQ(summaries.front()->modes.at(0).itemCount, std::nullopt);
}

TEST_F(LibrarySummaryTest, encodesWhateverATypeIsCalled) {
    modes(
        {R"({"id":"x","name":"X","entityTypes":[{"id":"a&b=c+d e#f?g/h%é\"~-_.track","name":"n"}]})"});
    answers[entities("a%26b%3Dc%2Bd%20e%23f%3Fg%2Fh%25%C3%A9%22~-_.track")] = total("8");
    EXPECT_EQ(fetch()->modes.at(0).itemCount, 8);
}

TEST_F(LibrarySummaryTest, runsOverlappingPassesIndependently) {
    modes({mode("music", {"music.track"})});
    answers[entities("music.track")] = total("8");
    answers[entities("music.track")]->after = 500ms;
    start();
    scheduler.advance(250ms);
    start();
    scheduler.advance(10s);
    ASSERT_EQ(summaries.size(), 2U);
    EXPECT_EQ(summaries[0], summaries[1]);
}

TEST_F(LibrarySummaryTest, letsGoOfItsCallerWhenItIsDone) {
    modes({mode("music", {"music.track"})});
    const auto token = std::make_shared<int>(7);
    LibrarySummaryClient::fetch(Url("http://127.0.0.1:4280/"), session,
                                scheduler.backgroundQueues(), [token](const auto&) {});
    EXPECT_GT(token.use_count(), 1);
    scheduler.advance(10s);
    EXPECT_EQ(token.use_count(), 1);
}

} // namespace
} // namespace ostra
