#include "mac/Tessel/WebApp/WebAppScripts.h"
#include "tests/support/javascript/ScriptEngine.h"
#include "tests/unit/Tessel/SampleWebApp.h"

#include <gtest/gtest.h>

namespace tessel {
namespace {

// A page of the application whose surroundings keep what is done with them, and whose server mints.
constexpr const char* surroundings = R"js(
var window = globalThis, location = {hostname: "app.example.com"};
var requests = [], posted = [], stored = {};
var sessionStorage = {
  getItem: key => key in stored ? stored[key] : null,
  setItem: (key, value) => { stored[key] = value; }
};
var webkit = {messageHandlers: {bridge: {postMessage: body => posted.push(body)}}};
var minted = {token: "t 1", origin: "https://app.example.com/"};
var answer = () => ({ok: true, json: () => Promise.resolve(minted)});
function fetch(path, options) {
  requests.push([path, options]);
  return new Promise(resolve => resolve(answer()));
}
)js";

class MintScript : public testing::Test {
  protected:
    MintScript() { run(surroundings); }

    std::string run(const std::string& script) {
        const auto value = engine_.evaluate(script);
        EXPECT_TRUE(value) << script << " throws " << (value ? "" : value.error());
        return value.value_or("");
    }
    // What the window injects into a page, at its start and at its end.
    void loadPage() {
        run(bootstrapScript(config));
        run(mintScript(config));
    }
    std::string requests() { return run("JSON.stringify(requests)"); }
    std::string posted() { return run("JSON.stringify(posted)"); }
    std::string stored() { return run("JSON.stringify(stored)"); }

    WebAppConfig config = sampleWebApp();

  private:
    test_support::ScriptEngine engine_;
};

constexpr const char* theMessage =
    R"([{"action":"linked","token":"t 1","origin":"https://app.example.com/"}])";

TEST_F(MintScript, asksForATokenAndPostsWhatTheServerAnswers) {
    loadPage();
    EXPECT_EQ(requests(), R"([["/api/mint",{"method":"POST","credentials":"same-origin",)"
                          R"("headers":{"x-app":"1","x-app-device":"Ann's Laptop"}}]])");
    EXPECT_EQ(posted(), theMessage);
    EXPECT_EQ(stored(), R"({"__app_linked":"1"})");
}

TEST_F(MintScript, asksForOneTokenInASession) {
    loadPage();
    loadPage();
    EXPECT_EQ(run("requests.length"), "1");
    EXPECT_EQ(posted(), theMessage);
}

TEST_F(MintScript, asksAgainOnceThePageHasForgottenItsToken) {
    loadPage();
    run("stored = {}");
    loadPage();
    EXPECT_EQ(run("requests.length + ' ' + posted.length"), "2 2");
}

TEST_F(MintScript, callsADeviceWithoutANameThisMac) {
    config.deviceName.clear();
    loadPage();
    EXPECT_EQ(run("requests[0][1].headers['x-app-device']"), "this Mac");
}

TEST_F(MintScript, postsTheServersValuesUnchanged) {
    run("minted = {token: {deep: [1]}, more: 1}");
    loadPage();
    EXPECT_EQ(posted(), R"([{"action":"linked","token":{"deep":[1]}}])");
}

struct Silent {
    const char* name;
    const char* change;
};

void PrintTo(const Silent& silent, std::ostream* stream) {
    *stream << silent.name;
}

class PagesThatAskForNothing : public MintScript, public testing::WithParamInterface<Silent> {};

TEST_P(PagesThatAskForNothing, makeNoRequest) {
    run(GetParam().change);
    loadPage();
    EXPECT_EQ(requests(), "[]");
    EXPECT_EQ(posted(), "[]");
}

INSTANTIATE_TEST_SUITE_P(
    Table, PagesThatAskForNothing,
    testing::Values(Silent{"another host", "location.hostname = 'example.com'"},
                    Silent{"a token before", "stored.__app_linked = '1'"},
                    Silent{"no bridge", "webkit = undefined"},
                    Silent{"no handlers", "webkit.messageHandlers = undefined"},
                    Silent{"another handler", "webkit.messageHandlers = {other: 1}"}));

TEST_F(MintScript, makesNoRequestForATokenThatIsNotWanted) {
    config.needsToken = false;
    loadPage();
    EXPECT_EQ(requests(), "[]");
}

class AnswersWithoutAToken : public MintScript, public testing::WithParamInterface<Silent> {};

TEST_P(AnswersWithoutAToken, arePassedOver) {
    run(GetParam().change);
    loadPage();
    EXPECT_EQ(run("requests.length"), "1");
    EXPECT_EQ(posted(), "[]");
    EXPECT_EQ(stored(), "{}");
}

INSTANTIATE_TEST_SUITE_P(
    Table, AnswersWithoutAToken,
    testing::Values(Silent{"refused", "answer = () => ({ok: false, json: () => minted})"},
                    Silent{"no JSON",
                           "answer = () => ({ok: true, json: () => Promise.reject(new Error)})"},
                    Silent{"unreachable", "answer = () => Promise.reject(new TypeError)"},
                    Silent{"null", "minted = null"}, Silent{"empty object", "minted = {}"},
                    Silent{"an empty token", "minted.token = ''"},
                    Silent{"a null token", "minted.token = null"}));

TEST_F(MintScript, worksWithoutStorage) {
    run("sessionStorage.getItem = sessionStorage.setItem = () => { throw new Error; }");
    loadPage();
    EXPECT_EQ(posted(), theMessage);
    run("sessionStorage = undefined; posted = []");
    loadPage();
    EXPECT_EQ(posted(), theMessage);
}

TEST_F(MintScript, leavesNothingBehindInThePage) {
    run("var before = Object.keys(globalThis).join()");
    run(mintScript(config));
    EXPECT_EQ(run("Object.keys(globalThis).join() === before"), "true");
}

TEST_F(MintScript, reachesThePathAndHeaderThatAreConfigured) {
    config.mintPath = R"(/m"i\nt)";
    config.appHeaderName = R"(x-"\)";
    loadPage();
    EXPECT_EQ(run("requests[0][0]"), config.mintPath);
    EXPECT_EQ(run("Object.keys(requests[0][1].headers)[0]"), config.appHeaderName);
}

} // namespace
} // namespace tessel
