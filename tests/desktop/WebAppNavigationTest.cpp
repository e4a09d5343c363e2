// What a web app window follows, what it hands to the browser, and how it is titled.
#include "tests/desktop/WebAppTest.h"

#include <fmt/format.h>

namespace desktop {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

class WebAppNavigation : public WebAppTest {};

TEST_F(WebAppNavigation, opensALinkToAnotherHostInTheBrowser) {
    serve({{"/", {.body = linkPage("start", foreignUrl("/other"))}},
           {"/other", {.body = page("other")}}});
    launch({"--no-token"});
    click("start");
    EXPECT_TRUE(says("open " + foreignUrl("/other")));
    EXPECT_TRUE(session.visibleWindow("start"));
    EXPECT_THAT(requests(), ElementsAre("GET /"));
}

TEST_F(WebAppNavigation, staysInTheWindowForAnotherPortOfTheOriginsHost) {
    Server second([](const Server::Request&) {
        return Server::Reply{.headers = {{"Content-Type", "text/html"}},
                             .body = page("second port")};
    });
    serve({{"/", {.body = linkPage("start", fmt::format("http://localhost:{}/", second.port()))}}});
    launch({"--no-token"});
    click("start");
    EXPECT_TRUE(showsTitle("second port"));
    EXPECT_THAT(lines(), ElementsAre("launched"));
}

TEST_F(WebAppNavigation, staysInTheWindowForASignInHost) {
    serve({{"/", {.body = linkPage("start", foreignUrl("/sign-in"))}},
           {"/sign-in", {.body = page("sign in")}}});
    launch({"--no-token", "--auth-host", "127.0.0.1"});
    click("start");
    EXPECT_TRUE(showsTitle("sign in"));
    EXPECT_THAT(lines(), ElementsAre("launched"));
}

TEST_F(WebAppNavigation, followsARedirectOfAClickedLinkToAnotherHost) {
    serve({{"/", {.body = linkPage("start", "/redirect")}},
           {"/redirect", {.status = 302, .headers = {{"Location", foreignUrl("/other")}}}},
           {"/other", {.body = page("other")}}});
    launch({"--no-token"});
    click("start");
    EXPECT_TRUE(showsTitle("other"));
    EXPECT_THAT(lines(), ElementsAre("launched"));
}

TEST_F(WebAppNavigation, followsARedirectOfTheStartPageToAnotherHost) {
    serve({{"/", {.status = 302, .headers = {{"Location", foreignUrl("/other")}}}},
           {"/other", {.body = page("other")}}});
    launch({"--no-token"});
    EXPECT_TRUE(showsTitle("other"));
    EXPECT_THAT(lines(), ElementsAre("launched"));
}

TEST_F(WebAppNavigation, followsAScriptToAnotherHost) {
    serve({{"/",
            {.body = page("start", fmt::format("<body onclick=\"location='{}'\" "
                                               "style=\"position:fixed;inset:0\">",
                                               foreignUrl("/other")))}},
           {"/other", {.body = page("other")}}});
    launch({"--no-token"});
    click("start");
    EXPECT_TRUE(showsTitle("other"));
    EXPECT_THAT(lines(), ElementsAre("launched"));
}

TEST_F(WebAppNavigation, submitsAFormToAnotherHost) {
    serve(
        {{"/",
          {.body = page("start", fmt::format("<form method=post action=\"{}\"><button "
                                             "style=\"position:fixed;inset:0\">go</button></form>",
                                             foreignUrl("/other")))}},
         {"/other", {.body = page("other")}}});
    launch({"--no-token"});
    click("start");
    EXPECT_TRUE(showsTitle("other"));
    EXPECT_THAT(requests(), Contains("POST /other"));
    EXPECT_THAT(lines(), ElementsAre("launched"));
}

class BlankTargets : public WebAppNavigation, public ::testing::WithParamInterface<bool> {};

// A second click shows that the first opened nothing else.
TEST_P(BlankTargets, openOnceInTheBrowserAlsoForPagesOfTheApp) {
    const std::string target = GetParam() ? appUrl("/help") : foreignUrl("/help");
    serve({{"/", {.body = linkPage("start", target, "target=_blank")}}});
    launch({"--no-token"});
    click("start");
    ASSERT_TRUE(says("open " + target));
    click("start");
    ASSERT_TRUE(says("open " + target, 2));
    EXPECT_THAT(lines(), ElementsAre("launched", "open " + target, "open " + target));
    EXPECT_TRUE(session.visibleWindow("start"));
    EXPECT_THAT(requests(), Not(Contains("GET /help")));
}

INSTANTIATE_TEST_SUITE_P(Every, BlankTargets, ::testing::Bool());

TEST_F(WebAppNavigation, opensWhatAScriptWantsInANewWindowInTheBrowser) {
    serve({{"/",
            {.body = page(
                 "start",
                 fmt::format("<script>const first = window.open('{}');"
                             "setInterval(() => window.open('mailto:a@b.org'), 100); {}</script>",
                             appUrl("/popup"), report("String(first)")))}}});
    launch({"--no-token"});
    EXPECT_TRUE(says("open " + appUrl("/popup")));
    EXPECT_TRUE(says("open mailto:a@b.org"));
    EXPECT_TRUE(reports("null"));
    EXPECT_THAT(requests(), Not(Contains("GET /popup")));
}

class DroppedLinks : public WebAppNavigation, public ::testing::WithParamInterface<const char*> {};

// The second click leads to the outside, whose opening shows that the first was dealt with.
TEST_P(DroppedLinks, areNeitherFollowedNorOpened) {
    serve({{"/",
            {.body = linkPage("start", GetParam(),
                              fmt::format("onclick=\"setTimeout(() => this.href = '{}', 0); {}\"",
                                          foreignUrl("/outside"), report("'clicked'")))}}});
    launch({"--no-token"});
    click("start");
    ASSERT_TRUE(reports("clicked"));
    click("start");
    EXPECT_TRUE(says("open " + foreignUrl("/outside")));
    EXPECT_THAT(lines(), ElementsAre("launched", "open " + foreignUrl("/outside")));
    EXPECT_TRUE(session.visibleWindow("start"));
}

INSTANTIATE_TEST_SUITE_P(Every, DroppedLinks,
                         ::testing::Values("ftp://127.0.0.1/x", "file:///etc/hostname",
                                           "x-unknown:go", "javascript:void 0"));

TEST_F(WebAppNavigation, isTitledByItsPageAndByItselfWithoutOne) {
    serve({{"/", {.body = linkPage("a page", "/untitled")}},
           {"/untitled", {.body = linkPage("", "/")}}});
    launch({"--no-token"});
    EXPECT_TRUE(showsTitle("a page"));
    click("a page");
    EXPECT_TRUE(showsTitle("web app probe"));
    click("web app probe");
    EXPECT_TRUE(showsTitle("a page"));
}

TEST_F(WebAppNavigation, keepsItsTitleWhileAnErrorIsShown) {
    server.setMisbehaviour(Server::Misbehaviour::closeBeforeAnswering);
    launch({"--no-token"});
    ASSERT_TRUE(server.waitForRequests(1));
    EXPECT_TRUE(showsTitle("web app probe"));
    EXPECT_TRUE(probe->isRunning());
}

TEST_F(WebAppNavigation, opensInTheSizeOfAWebAppAndHasASmallestOne) {
    serve({{"/", {.body = page("start")}}});
    launch({"--no-token"});
    ASSERT_TRUE(showsTitle("start"));
    const std::string window = session.visibleWindow("start").value_or("");
    EXPECT_GE(session.geometry(window).width, 1100);
    EXPECT_LT(session.geometry(window).width, 1100 + 64);
    session.resize(window, 300, 200);
    EXPECT_TRUE(eventually([&] { return session.geometry(window).width == 720; }));
    EXPECT_GE(session.geometry(window).height, 480);
}

TEST_F(WebAppNavigation, tellsTheServerTheAgentItWasGiven) {
    serve({{"/", {.body = page("start")}}});
    launch({"--no-token", "--agent", "Agent/1"});
    ASSERT_TRUE(showsTitle("start"));
    EXPECT_EQ(request("GET /")->header("User-Agent"), "Agent/1");
}

} // namespace
} // namespace desktop
