// tessel link against the server in the box, and against servers with something to hide.
#include "tests/ostrad/OstradFixture.h"
#include "tests/support/loopback/LoopbackServer.h"
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/tessel/RunTool.h"
#include "tests/tessel/ToolProcess.h"

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <iterator>

namespace {

using ostrad::test::ServerProcess;
using testing::HasSubstr;
using testing::Not;

class TesselLinkWithOstrad : public ostrad::test::OstradTest {
  protected:
    // Its output goes to a file, so that it can be read while it runs.
    std::unique_ptr<ServerProcess> link() {
        const std::string command = "exec " TESSEL_EXECUTABLE
                                    " link --no-open --json --app 'My App'"
                                    " --name Studio --origin http://127.0.0.1:" +
                                    std::to_string(port) + " > '" + (folder / "out").string() + "'";
        return std::make_unique<ServerProcess>(
            "/bin/sh", std::vector<std::string>{"-c", command},
            ServerProcess::Environment{{"MY_APP_STATE_DIR", folder / "state"}});
    }
    std::string output() {
        std::ifstream file(folder / "out");
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool prints(const std::string& text) {
        return ostrad::test::eventually([&] { return output().contains(text); });
    }

    test_support::TemporaryFolder folder;
};

TEST_F(TesselLinkWithOstrad, exitsWith0OnceTheCodeIsApproved) {
    const auto tool = link();
    ASSERT_TRUE(prints("\"code\":\""));
    const std::string said = output();
    const auto at = said.find("\"code\":\"") + 8;
    const std::string code = said.substr(at, said.find('"', at) - at);
    EXPECT_EQ(
        ostrad::test::postJson(port, "/api/account/link/approve", R"({"code":")" + code + "\"}")
            .status,
        200);
    EXPECT_EQ(tool->wait(), 0);
    EXPECT_THAT(output(), HasSubstr("{\"state\":\"starting\"}\n"));
    EXPECT_THAT(output(), HasSubstr("{\"state\":\"linked\",\"tokenName\":\"Studio\"}\n"));
    EXPECT_THAT(output(), Not(HasSubstr("oken\":")));
    EXPECT_TRUE(std::filesystem::exists(folder / "state/credentials.json"));
}

TEST_F(TesselLinkWithOstrad, isCancelledByCtrlC) {
    const auto tool = link();
    ASSERT_TRUE(prints("waiting"));
    tool->signal(SIGINT);
    EXPECT_EQ(tool->wait(), 130);
    EXPECT_THAT(output(), HasSubstr("{\"state\":\"idle\"}\n"));
    EXPECT_THAT(tool->readOutput(), HasSubstr("tessel: cancelled"));
    EXPECT_FALSE(std::filesystem::exists(folder / "state/credentials.json"));
}

using test_support::LoopbackServer;
using testing::IsEmpty;
using tool::test::Stream;
using tool::test::ToolProcess;

// An account service that answers as it is told.
class LinkToAService : public testing::Test {
  protected:
    LinkToAService() {
        server.setHandler([this](const LoopbackServer::Request& request) {
            return request.target == "/api/link/start" ? startReply() : pollReply;
        });
    }

    static LoopbackServer::Reply json(const boost::json::object& object, int status = 200) {
        return {.status = status, .body = boost::json::serialize(object)};
    }
    LoopbackServer::Reply startReply() {
        return json({{"code", code},
                     {"pollToken", "p"},
                     {"verifyUrl", server.url("/link")},
                     {"expiresAt", "2099-01-01T00:00:00Z"},
                     {"interval", 1}});
    }
    [[nodiscard]] std::vector<std::string> arguments(const std::string& more = "--no-open") const {
        std::string origin = server.url("");
        return {"link", "--app", "My App", "--origin", origin, more};
    }
    std::unique_ptr<ToolProcess> link(const std::vector<std::string>& more = {},
                                      tool::test::Streams streams = {}) {
        auto words = arguments();
        words.insert(words.end(), more.begin(), more.end());
        return std::make_unique<ToolProcess>(
            words, streams,
            std::map<std::string, std::string>{{"MY_APP_STATE_DIR", folder / "state"}});
    }

    test_support::TemporaryFolder folder;
    std::string code = "ABCD";
    LoopbackServer::Reply pollReply =
        json({{"status", "approved"}, {"token", "t"}, {"tokenName", "Studio"}});
    LoopbackServer server;
};

TEST_F(LinkToAService, saysLinkedOnceTheTokenIsOnTheDisk) {
    const auto tool = link();
    EXPECT_EQ(tool->wait(), 0) << tool->error();
    EXPECT_THAT(tool->output(), HasSubstr("Confirm code ABCD at " + server.url("/link") + "\n"));
    EXPECT_THAT(tool->output(), HasSubstr("Linked as Studio\n"));
}

TEST_F(LinkToAService, saysWhereATokenCouldNotBeKept) {
    std::filesystem::create_directories(folder / "state/credentials.json/in the way");
    for (const bool json : {false, true}) {
        const auto tool =
            link(json ? std::vector<std::string>{"--json"} : std::vector<std::string>{});
        EXPECT_EQ(tool->wait(), 1);
        EXPECT_THAT(tool->error(),
                    HasSubstr("tessel: linked as Studio, but the token could not be kept: "));
        EXPECT_THAT(tool->error(), HasSubstr((folder / "state/credentials.json").native()));
        EXPECT_THAT(tool->output(), Not(HasSubstr("Linked as")));
        EXPECT_THAT(tool->output(), Not(HasSubstr("\"linked\"")));
    }
}

TEST_F(LinkToAService, asksForNoTokenWhenThereIsNoPlaceForIt) {
    std::ofstream(folder / "state") << "a file in the way";
    const auto tool = link();
    EXPECT_EQ(tool->wait(), 1);
    EXPECT_THAT(tool->error(), HasSubstr((folder / "state").native()));
    EXPECT_THAT(server.requests(), IsEmpty());
}

// A name that sets a terminal's title, rings, hides a line and turns the direction of writing.
constexpr std::string_view hostile = "a\x1b]0;x\x07\r\nb\u009bc\u202ed\x7f";
constexpr std::string_view shown = "a\\x1b]0;x\\x07\\r\\nb\\u009bc\\u202ed\\x7f";

TEST_F(LinkToAService, showsTheControlCharactersOfAService) {
    code = hostile;
    pollReply = json({{"status", "approved"}, {"token", "t"}, {"tokenName", hostile}});
    const auto tool = link();
    EXPECT_EQ(tool->wait(), 0) << tool->error();
    EXPECT_THAT(tool->output(), HasSubstr("Confirm code " + std::string(shown) + " at "));
    EXPECT_THAT(tool->output(), HasSubstr("Linked as " + std::string(shown) + "\n"));
    const auto shownAgain = tool::test::runTool({"credentials", "show", "--app", "My App"}, {},
                                                {{"MY_APP_STATE_DIR", folder / "state"}});
    EXPECT_THAT(shownAgain.output, HasSubstr("token name: " + std::string(shown) + "\n"));
    server.setHandler(
        [](const LoopbackServer::Request&) { return json({{"error", hostile}}, 500); });
    const auto failed = link();
    EXPECT_EQ(failed->wait(), 1);
    EXPECT_THAT(failed->error(), HasSubstr("HTTP 500: " + std::string(shown) + "\n"));
}

TEST_F(LinkToAService, leavesJsonAsItIs) {
    pollReply = json({{"status", "approved"}, {"token", "t"}, {"tokenName", "a\u202eb"}});
    const auto tool = link({"--json"});
    EXPECT_EQ(tool->wait(), 0) << tool->error();
    EXPECT_THAT(tool->output(), HasSubstr("\"tokenName\":\"a\u202eb\""));
}

TEST_F(LinkToAService, tellsATerminalThatItIsAsking) {
    server.setMisbehaviour(LoopbackServer::Misbehaviour::neverAnswer);
    const auto tool = link({}, {.error = Stream::terminal});
    EXPECT_TRUE(tool->says("Asking " + server.url("") + " for a code")) << tool->error();
    ASSERT_TRUE(server.waitForRequests(1));
    tool->signal(SIGINT);
    EXPECT_EQ(tool->wait(), 130);
    EXPECT_THAT(tool->error(), HasSubstr("tessel: cancelled"));
}

TEST_F(LinkToAService, tellsAFileNothingOfItsProgress) {
    server.setMisbehaviour(LoopbackServer::Misbehaviour::neverAnswer);
    const auto tool = link();
    ASSERT_TRUE(server.waitForRequests(1));
    tool->signal(SIGTERM);
    EXPECT_EQ(tool->wait(), 143);
    EXPECT_EQ(tool->error(), "tessel: cancelled\n");
}

TEST_F(LinkToAService, endsWhenNobodyReadsItsJson) {
    pollReply = json({{"status", "pending"}});
    const auto tool = link({"--json"});
    ASSERT_TRUE(tool->prints("\"waiting\""));
    tool->closeOutput();
    EXPECT_EQ(tool->wait(), 141);
    EXPECT_THAT(tool->error(), IsEmpty());
}

} // namespace
