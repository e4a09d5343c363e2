// tessel on a disk that fails a call, or says that it did what it did not: whatever the tool calls
// done is on the disk.
#include "tests/support/loopback/LoopbackServer.h"
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/tessel/FaultyDisk.h"
#include "tests/tessel/RunTool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

namespace tool::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

class TesselOnAFaultyDisk : public testing::TestWithParam<const char*> {
  protected:
    [[nodiscard]] ToolResult run(std::vector<std::string> arguments,
                                 std::map<std::string, std::string> environment) const {
        arguments.insert(arguments.end(), {"--app", "My App"});
        environment["MY_APP_STATE_DIR"] = folder / "state";
        return runTool(arguments, {}, environment);
    }
    [[nodiscard]] ToolResult runWithFaultAt(const std::vector<std::string>& arguments,
                                            std::size_t call) const {
        return run(arguments, disk.environment(GetParam(), static_cast<long>(call)));
    }
    [[nodiscard]] std::string read(const std::string& name) const {
        std::ifstream file(folder / "state" / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void put(const std::string& name, const std::string& content) const {
        std::ofstream(folder / "content") << content;
        ASSERT_EQ(run({"state", "cache", "put", name, folder / "content"}, {}).status, 0);
    }
    // Runs the command with each of its calls going wrong in turn, `needed` among them, and
    // `prepare` before each run. `refuses` looks at a run, and says whether it was one that failed.
    void
    tryEachCall(const std::vector<std::string>& command, const char* needed,
                const std::function<void()>& prepare,
                const std::function<bool(const ToolResult&, const std::string& call)>& refuses) {
        prepare();
        ASSERT_EQ(runWithFaultAt(command, 0).status, 0);
        const auto calls = disk.calls();
        ASSERT_THAT(calls, Contains(needed));
        int refused = 0;
        for (std::size_t call = 1; call <= calls.size(); ++call) {
            prepare();
            const auto result = runWithFaultAt(command, call);
            refused += refuses(result, std::to_string(call) + " " + calls[call - 1]) ? 1 : 0;
        }
        EXPECT_GT(refused, 0);
    }

    test_support::TemporaryFolder folder;
    const FaultyDisk disk{folder / "state", folder / "calls"};
};

TEST_P(TesselOnAFaultyDisk, callsACacheKeptOnlyWhenItIs) {
    std::ofstream(folder / "new") << "new";
    tryEachCall(
        {"state", "cache", "put", "name", folder / "new"}, "write", [this] { put("name", "old"); },
        [this](const ToolResult& result, const std::string& call) {
            if (result.status == 0) {
                EXPECT_EQ(read("name"), "new") << call;
                return false;
            }
            EXPECT_EQ(result.status, 1);
            EXPECT_THAT(result.error, StartsWith("tessel: "));
            EXPECT_THAT(result.error, HasSubstr((folder / "state").native()));
            return true;
        });
}

TEST_P(TesselOnAFaultyDisk, callsCredentialsDeletedOnlyWhenTheyAre) {
    tryEachCall(
        {"credentials", "delete"}, "unlink", [this] { put("credentials.json", "{}"); },
        [this](const ToolResult& result, const std::string& call) {
            const bool isThere = std::filesystem::exists(folder / "state/credentials.json");
            EXPECT_EQ(result.status, isThere ? 1 : 0) << call;
            EXPECT_THAT(result.error, isThere ? StartsWith("tessel: ") : StartsWith(""));
            return isThere;
        });
}

TEST_P(TesselOnAFaultyDisk, callsATokenKeptOnlyWhenItIs) {
    test_support::LoopbackServer server;
    server.setHandler([&server](const test_support::LoopbackServer::Request& request) {
        return test_support::LoopbackServer::Reply{
            .status = 200,
            .body = request.target == "/api/link/start"
                        ? R"({"code":"ABCD","pollToken":"p","expiresAt":"2099-01-01T00:00:00Z",)"
                          R"("interval":1,"verifyUrl":")" +
                              server.url("/link") + "\"}"
                        : R"({"status":"approved","token":"secret","tokenName":"Studio"})"};
    });
    const std::vector<std::string> command{"link", "--no-open", "--origin", server.url("")};
    ASSERT_EQ(runWithFaultAt(command, 0).status, 0);
    const auto calls = disk.calls();
    const auto write = std::ranges::find(calls, "write");
    ASSERT_NE(write, calls.end());
    const auto result =
        runWithFaultAt(command, static_cast<std::size_t>(write - calls.begin()) + 1);
    EXPECT_EQ(result.status, 0) << "it is tried again";
    EXPECT_THAT(result.output, HasSubstr("Linked as Studio\n"));
    EXPECT_THAT(read("credentials.json"), HasSubstr("\"secret\""));
}

INSTANTIATE_TEST_SUITE_P(EachWay, TesselOnAFaultyDisk, testing::Values("EIO", "ENOSPC", "lost"));

} // namespace
} // namespace tool::test
