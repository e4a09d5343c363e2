#include "mac/Tessel/WebApp/WebAppScripts.h"
#include "tests/support/javascript/ScriptEngine.h"
#include "tests/unit/Tessel/SampleWebApp.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace tessel {
namespace {

// The globals of a page on that host once the script has run, as JSON.
std::string globalsOn(const std::string& hostname, const WebAppConfig& config) {
    test_support::ScriptEngine engine;
    (void)engine.evaluate(
        fmt::format("var window = globalThis, location = {{hostname: '{}'}};", hostname));
    (void)engine.evaluate(bootstrapScript(config));
    return engine.evaluate("JSON.stringify([window.__inApp, window.__device, window.__needsToken])")
        .value_or("an exception");
}

constexpr const char* all = R"([true,"Ann's Laptop",true])";
constexpr const char* none = "[null,null,null]";

TEST(BootstrapScript, publishesTheGlobalsOnTheOriginsHostAndBelowIt) {
    for (const char* const host :
         {"app.example.com", "www.app.example.com", "a.b.app.example.com"}) {
        EXPECT_EQ(globalsOn(host, sampleWebApp()), all) << host;
    }
}

TEST(BootstrapScript, publishesNothingOnOtherHosts) {
    for (const char* const host : {"example.com", "evilapp.example.com", "app.example.com.evil.org",
                                   "app.example.com.", "login.example.net", "com", ""}) {
        EXPECT_EQ(globalsOn(host, sampleWebApp()), none) << host;
    }
}

TEST(BootstrapScript, publishesTheGlobalsEverywhereForAnOriginWithoutAHost) {
    EXPECT_EQ(globalsOn("anywhere.example", sampleWebApp("app:/start")), all);
    EXPECT_EQ(globalsOn("", sampleWebApp("app:/start")), all);
}

TEST(BootstrapScript, saysThatNoTokenIsWanted) {
    WebAppConfig config = sampleWebApp();
    config.needsToken = false;
    EXPECT_EQ(globalsOn("app.example.com", config), R"([true,"Ann's Laptop",false])");
}

} // namespace
} // namespace tessel
