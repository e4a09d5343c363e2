// tessel web and tessel script, as far as they go without a display.
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/tessel/RunTool.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace tool::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

boost::json::object studio() {
    return {{"origin", "http://Studio.example:4280/x"},
            {"startPath", "/connect"},
            {"needsToken", true},
            {"deviceName", R"(Ann's 12" \ Laptop)"},
            {"windowTitle", "Studio"},
            {"authHosts", boost::json::array{"login.example.net"}},
            {"mintPath", R"(/api/"mint"\)"},
            {"clientFlagGlobal", "isStudio"},
            {"deviceGlobal", "studioDevice"},
            {"needsTokenGlobal", "$studio_needs1"},
            {"bridgeName", "studio"},
            {"appCookieName", "studio_app"},
            {"appHeaderName", "x-studio"},
            {"userAgent", "Studio/1.0"}};
}

ToolResult bootstrap(const std::string& document) {
    return runTool({"script", "bootstrap", "-"}, document);
}

TEST(TesselScript, printsTheBootstrapScriptByteForByte) {
    const auto printed = bootstrap(boost::json::serialize(studio()));
    EXPECT_EQ(printed.output, "(function () {\n"
                              "  var h = location.hostname, base = \"Studio.example\";\n"
                              "  if (base && h !== base && !h.endsWith(\".\" + base)) return;\n"
                              "  window.isStudio = true;\n"
                              "  window.studioDevice = \"Ann's 12\\\" \\\\ Laptop\";\n"
                              "  window.$studio_needs1 = true;\n"
                              "})();");
    EXPECT_EQ(printed.status, 0);
    EXPECT_THAT(printed.error, IsEmpty());
}

TEST(TesselScript, printsTheMintScriptByteForByte) {
    const test_support::TemporaryFolder folder;
    const auto file = folder / "studio.json";
    std::ofstream(file) << studio();
    const auto printed = runTool({"script", "mint", file});
    EXPECT_EQ(printed.output,
              "(function () {\n"
              "  if (!window.isStudio || !window.$studio_needs1) return;\n"
              "  try { if (sessionStorage.getItem(\"__app_linked\")) return; } catch (e) {}\n"
              "  var mh = window.webkit && window.webkit.messageHandlers\n"
              "    && window.webkit.messageHandlers.studio;\n"
              "  if (!mh) return;\n"
              "  fetch(\"/api/\\\"mint\\\"\\\\\", {\n"
              "    method: \"POST\",\n"
              "    credentials: \"same-origin\",\n"
              "    headers: {\n"
              "      \"x-studio\": \"1\",\n"
              "      \"x-app-device\": window.studioDevice || \"this Mac\"\n"
              "    }\n"
              "  })\n"
              "    .then(function (r) { return r.ok ? r.json() : null; })\n"
              "    .then(function (d) {\n"
              "      if (d && d.token) {\n"
              "        try { sessionStorage.setItem(\"__app_linked\", \"1\"); } catch (e) {}\n"
              "        mh.postMessage({ action: \"linked\", token: d.token, origin: d.origin });\n"
              "      }\n"
              "    })\n"
              "    .catch(function () {});\n"
              "})();");
    EXPECT_EQ(printed.status, 0);
}

TEST(TesselScript, passesLineEndsAndNulThrough) {
    auto document = studio();
    document["deviceName"] = boost::json::string_view("a\n\r\0b\u2028", 8);
    EXPECT_THAT(bootstrap(boost::json::serialize(document)).output,
                HasSubstr(std::string("= \"a\n\r\0b\u2028\";", 13)));
}

struct WrongField {
    const char* field;
    boost::json::value value;
    const char* message;
};

TEST(WebAppDocument, isRefusedWithTheNameOfTheFieldThatIsWrong) {
    const std::vector<WrongField> table{
        {"origin", 1, "\"origin\" is no string"},
        {"origin", "", "\"origin\" is no absolute URL"},
        {"origin", "studio.example", "\"origin\" is no absolute URL"},
        {"origin", "//studio.example", "\"origin\" is no absolute URL"},
        {"origin", "http://[::1].evil/", "\"origin\" is no absolute URL"},
        {"startPath", nullptr, "\"startPath\" is no string"},
        {"needsToken", "true", "\"needsToken\" is neither true nor false"},
        {"needsToken", 1, "\"needsToken\" is neither true nor false"},
        {"deviceName", false, "\"deviceName\" is no string"},
        {"windowTitle", 1.5, "\"windowTitle\" is no string"},
        {"authHosts", "login.example.net", "\"authHosts\" is no array"},
        {"authHosts", boost::json::object{}, "\"authHosts\" is no array"},
        {"authHosts", boost::json::array{"a", 1}, "\"authHosts\" holds something that is no"},
        {"mintPath", boost::json::array{}, "\"mintPath\" is no string"},
        {"clientFlagGlobal", "", "\"clientFlagGlobal\" is no JavaScript identifier"},
        {"deviceGlobal", "1st", "\"deviceGlobal\" is no JavaScript identifier"},
        {"needsTokenGlobal", "a;b", "\"needsTokenGlobal\" is no JavaScript identifier"},
        {"bridgeName", "a b", "\"bridgeName\" is no JavaScript identifier"},
        {"appCookieName", nullptr, "\"appCookieName\" is no string"},
        {"appHeaderName", 1, "\"appHeaderName\" is no string"},
        {"userAgent", true, "\"userAgent\" is no string"},
        {"usarAgent", "Studio/1.0", "there is no field \"usarAgent\""}};
    for (const WrongField& wrong : table) {
        auto document = studio();
        document[wrong.field] = wrong.value;
        const auto refused = bootstrap(boost::json::serialize(document));
        EXPECT_EQ(refused.status, 2) << wrong.message;
        EXPECT_THAT(refused.error, HasSubstr(std::string("tessel: -: ") + wrong.message));
        EXPECT_THAT(refused.output, IsEmpty());
    }
}

TEST(WebAppDocument, needsEveryField) {
    const auto complete = studio();
    for (const auto& field : complete) {
        auto document = complete;
        document.erase(field.key());
        const auto refused = bootstrap(boost::json::serialize(document));
        EXPECT_EQ(refused.error, "tessel: -: \"" + std::string(field.key()) + "\" is missing\n");
        EXPECT_EQ(refused.status, 2);
    }
}

TEST(WebAppDocument, isOneJsonObject) {
    for (const char* const document :
         {"", "{", "nonsense", "{} {}", R"({"origin":"http://h","origin":"http://h"})", "\xff"}) {
        EXPECT_EQ(bootstrap(document).error, "tessel: -: it is not valid JSON\n") << document;
    }
    for (const char* const document : {"[]", "null", R"("origin")"}) {
        EXPECT_EQ(bootstrap(document).error, "tessel: -: it is no JSON object\n") << document;
    }
}

TEST(WebAppDocument, hasToBeReadable) {
    const test_support::TemporaryFolder folder;
    const std::string missing = folder / "none.json";
    for (const auto& command : {std::vector<std::string>{"web", missing},
                                {"script", "mint", missing},
                                {"script", "bootstrap", missing}}) {
        const auto refused = runTool(command);
        EXPECT_EQ(refused.status, 2);
        EXPECT_EQ(refused.error,
                  "tessel: cannot read " + missing + ": No such file or directory\n");
    }
    EXPECT_THAT(runTool({"script", "mint", folder.path()}).error, HasSubstr(": Is a directory\n"));
}

TEST(TesselWeb, saysWhatIsWrongBeforeItLooksForADisplay) {
    auto document = studio();
    document.erase("bridgeName");
    const auto refused = runTool({"web", "-"}, boost::json::serialize(document));
    EXPECT_EQ(refused.error, "tessel: -: \"bridgeName\" is missing\n");
    EXPECT_EQ(refused.status, 2);
}

TEST(TesselWeb, needsAConfiguration) {
    EXPECT_EQ(runTool({"web"}).status, 2);
    EXPECT_EQ(runTool({"script"}).status, 2);
    EXPECT_EQ(runTool({"script", "mint"}).status, 2);
    EXPECT_EQ(runTool({"script", "other", "-"}).status, 2);
    for (const auto& command :
         {std::vector<std::string>{"web", "--help"}, {"script", "mint", "--help"}}) {
        EXPECT_THAT(runTool(command).output, HasSubstr("Examples:"));
    }
    EXPECT_THAT(runTool({"web", "--help"}).output, HasSubstr("needsTokenGlobal"));
}

// Under another name, which is where the program then is; copied where that takes another disk.
void install(const std::filesystem::path& program, const std::filesystem::path& place) {
    std::error_code failed;
    std::filesystem::create_hard_link(program, place, failed);
    if (failed) {
        std::filesystem::copy_file(program, place);
    }
}

// The program alone, as an incomplete installation would have it.
TEST(TesselWeb, saysWhereItLookedForItsWindow) {
    const test_support::TemporaryFolder folder;
    install(TESSEL_EXECUTABLE, folder / "tessel");
    const auto missing = runProgram(folder / "tessel", {"web", "studio.json"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.error, HasSubstr("tessel: tessel-web is missing: it is looked for in " +
                                         folder.path().native() + " and in "));
}

TEST(TesselWeb, findsItsWindowWhereAPackageHasIt) {
    const test_support::TemporaryFolder folder;
    std::filesystem::create_directories(folder / "bin");
    std::filesystem::create_directories(folder / "lib/zorvane");
    install(TESSEL_EXECUTABLE, folder / "bin/tessel");
    install(std::filesystem::path(TESSEL_EXECUTABLE).parent_path() / "tessel-web",
            folder / "lib/zorvane/tessel-web");
    const auto refused = runProgram(folder / "bin/tessel", {"web", "-"}, "{}");
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.error, "tessel: -: \"origin\" is missing\n");
}

} // namespace
} // namespace tool::test
