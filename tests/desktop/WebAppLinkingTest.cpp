// The cookie, the scripts and the messages of a web app window, with a real web engine.
#include "tests/desktop/WebAppTest.h"

#include <fmt/format.h>

namespace desktop {
namespace {

using ::testing::ElementsAre;

class WebAppLinking : public WebAppTest {
  protected:
    [[nodiscard]] Server::Reply minted() const {
        return {.headers = {{"Content-Type", "application/json"}},
                .body = fmt::format(R"({{"token":"t 1","origin":"{}"}})", appUrl())};
    }

    // A page that tells, by its title, what its own scripts see.
    static std::string showing(std::string_view expression) {
        return page("loading", fmt::format("<script>document.title = {}</script>", expression));
    }

    // A page that posts a message and then says so.
    static std::string posting(std::string_view body) {
        return page("loading", fmt::format("<script>"
                                           "window.webkit.messageHandlers.bridge.postMessage({});"
                                           "document.title = 'posted'</script>",
                                           body));
    }
};

TEST_F(WebAppLinking, handsTheTokenOfTheServerToTheOwner) {
    serve({{"/", {.body = page("start")}}, {"/mint", minted()}});
    launch({"--device", R"(Ann's 12" \ Laptop)"});
    EXPECT_TRUE(says(fmt::format("linked t 1 {}", appUrl())));
    const auto mint = request("POST /mint");
    ASSERT_TRUE(mint);
    EXPECT_EQ(mint->header("x-app"), "1");
    EXPECT_EQ(mint->header("x-app-device"), R"(Ann's 12" \ Laptop)");
    EXPECT_EQ(mint->header("Cookie"), "in_app=1");
}

TEST_F(WebAppLinking, sendsTheCookieWithTheFirstRequest) {
    serve({{"/", {.body = page("start")}}});
    launch({"--no-token"});
    ASSERT_TRUE(showsTitle("start"));
    EXPECT_EQ(request("GET /")->header("Cookie"), "in_app=1");
}

TEST_F(WebAppLinking, sendsTheCookieToNoOtherHost) {
    serve({{"/", {.status = 302, .headers = {{"Location", foreignUrl("/other")}}}},
           {"/other", {.body = page("other")}}});
    launch();
    ASSERT_TRUE(showsTitle("other"));
    EXPECT_EQ(request("GET /other")->header("Cookie"), std::nullopt);
}

TEST_F(WebAppLinking, letsScriptsReadTheCookie) {
    serve({{"/", {.body = showing("document.cookie")}}});
    launch({"--no-token"});
    EXPECT_TRUE(showsTitle("in_app=1"));
}

TEST_F(WebAppLinking, keepsCookiesAcrossLaunches) {
    serve({{"/",
            {.headers = {{"Set-Cookie", "session=s1; Max-Age=86400; HttpOnly"}},
             .body = page("start")}},
           {"/second", {.body = page("second")}}});
    launch({"--no-token"});
    ASSERT_TRUE(showsTitle("start"));
    const auto file = session.dataHome() / "test.zorvane.webapp/webkit/cookies.sqlite";
    EXPECT_EQ(std::filesystem::status(file).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    probe->signal(SIGTERM);
    ASSERT_EQ(probe->waitForExit(patience), 0);
    launch({"--no-token", "--start", "/second"});
    ASSERT_TRUE(showsTitle("second"));
    EXPECT_THAT(std::string(request("GET /second")->header("Cookie").value_or("")),
                ::testing::HasSubstr("session=s1"));
}

TEST_F(WebAppLinking, publishesTheGlobalsBeforeThePagesOwnScripts) {
    serve({{"/", {.body = showing("[__inApp, __device, __needsToken].join()")}}});
    launch({"--no-token", "--device", "my device"});
    EXPECT_TRUE(showsTitle("true,my device,false"));
}

TEST_F(WebAppLinking, publishesTheGlobalsBelowTheOriginsHost) {
    serve(
        {{"/",
          {.status = 302,
           .headers = {{"Location", fmt::format("http://sub.localhost:{}/below", server.port())}}}},
         {"/below", {.body = showing("location.hostname + ' ' + window.__inApp")}}});
    launch({"--no-token"});
    EXPECT_TRUE(showsTitle("sub.localhost true"));
}

TEST_F(WebAppLinking, publishesNothingOnAnotherHostAndMintsNothingThere) {
    serve({{"/", {.status = 302, .headers = {{"Location", foreignUrl("/other")}}}},
           {"/other", {.body = showing("typeof __inApp")}},
           {"/mint", minted()}});
    launch();
    EXPECT_TRUE(showsTitle("undefined"));
    EXPECT_THAT(requests(), ElementsAre("GET /", "GET /other"));
}

TEST_F(WebAppLinking, runsItsScriptsInTheMainFrameOnly) {
    serve(
        {{"/", {.body = page("start", "<iframe src=\"/frame\"></iframe>")}},
         {"/frame", {.body = page("frame", "<script>" + report("typeof __inApp") + "</script>")}}});
    launch({"--no-token"});
    EXPECT_TRUE(reports("undefined"));
}

TEST_F(WebAppLinking, asksForNoTokenThatIsNotWanted) {
    serve({{"/", {.body = linkPage("start", "/second")}},
           {"/second", {.body = page("second")}},
           {"/mint", minted()}});
    launch({"--no-token"});
    click("start");
    ASSERT_TRUE(showsTitle("second"));
    EXPECT_THAT(requests(), ElementsAre("GET /", "GET /second"));
}

TEST_F(WebAppLinking, asksForOneTokenInASession) {
    serve({{"/", {.body = linkPage("start", "/second")}},
           {"/second", {.body = linkPage("second", "/third")}},
           {"/third", {.body = page("third")}},
           {"/mint", minted()}});
    launch();
    ASSERT_TRUE(says(fmt::format("linked t 1 {}", appUrl())));
    click("start");
    click("second");
    ASSERT_TRUE(showsTitle("third"));
    EXPECT_THAT(requests(), ElementsAre("GET /", "POST /mint", "GET /second", "GET /third"));
}

TEST_F(WebAppLinking, asksAgainOnTheNextPageWhenTheServerRefused) {
    serve({{"/", {.body = linkPage("start", "/second")}},
           {"/second", {.body = page("second")}},
           {"/mint", {.status = 403, .body = R"({"token":"t","origin":"http://h"})"}}});
    launch();
    ASSERT_TRUE(server.waitForRequests(2));
    click("start");
    ASSERT_TRUE(showsTitle("second"));
    EXPECT_TRUE(eventually([&] {
        return requests() ==
               std::vector<std::string>{"GET /", "POST /mint", "GET /second", "POST /mint"};
    }));
    EXPECT_THAT(lines(), ElementsAre("launched"));
}

TEST_F(WebAppLinking, mayEndTheWindowThatWasLinked) {
    serve({{"/", {.body = page("start")}}, {"/mint", minted()}});
    launch({"--let-go"});
    ASSERT_TRUE(says(fmt::format("linked t 1 {}", appUrl())));
    EXPECT_TRUE(eventually([&] { return !session.visibleWindow("start"); }));
    EXPECT_TRUE(probe->isRunning()) << probe->standardError();
}

class OtherMessages : public WebAppLinking, public ::testing::WithParamInterface<const char*> {};

// A whole message comes after the one in question and arrives alone.
TEST_P(OtherMessages, areIgnored) {
    serve({{"/",
            {.body = page("start",
                          fmt::format("<script>const post = body => "
                                      "window.webkit.messageHandlers.bridge.postMessage(body);"
                                      "try {{ post({}); }} catch (e) {{}}"
                                      "post({{action: 'linked', token: 'last', origin: 'http://h'"
                                      "}})</script>",
                                      GetParam()))}}});
    launch({"--no-token"});
    ASSERT_TRUE(says("linked last http://h"));
    EXPECT_THAT(lines(), ElementsAre("launched", "linked last http://h"));
}

INSTANTIATE_TEST_SUITE_P(
    Every, OtherMessages,
    ::testing::Values("undefined", "null", "'linked'", "[]", "{}", "12",
                      "{action: 'linked', token: 1, origin: 'http://h'}",
                      "{action: 'linked', token: new Date(), origin: 'http://h'}",
                      "{action: 'linked', token: ['t'], origin: 'http://h'}",
                      "{action: 'linked', token: 't', origin: 'not a url'}",
                      "{action: 'linked', token: 't'}",
                      "{action: 'unlinked', token: 't', origin: 'http://h'}",
                      "(() => { const loop = {action: 'linked', token: 't', origin: 'http://h'};"
                      " loop.loop = loop; return loop; })()",
                      "new Array(200000)", "() => 1"));

TEST_F(WebAppLinking, takesMembersThatItDoesNotKnow) {
    serve({{"/",
            {.body = posting("{action: 'linked', token: 't\u00e9', origin: 'http://h/', n: 1.5,"
                             " list: [1, 'x', null, true, {deep: [[]]}], none: undefined}")}}});
    launch({"--no-token"});
    EXPECT_TRUE(says("linked t\u00e9 http://h/"));
}

} // namespace
} // namespace desktop
