// tessel link against the server in the box.
#include "tests/ostrad/OstradFixture.h"
#include "tests/support/temporary/TemporaryFolder.h"

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
    EXPECT_EQ(tool->wait(), 1);
    EXPECT_THAT(output(), HasSubstr("{\"state\":\"idle\"}\n"));
    EXPECT_THAT(tool->readOutput(), HasSubstr("tessel: cancelled"));
    EXPECT_FALSE(std::filesystem::exists(folder / "state/credentials.json"));
}

} // namespace
