// A device link that is dropped, with everything it was made of, in the middle of a request. What
// it would still use then the address sanitizer sees.
#include "mac/Tessel/Link/DeviceLink.h"
#include "platform/Headless.h"
#include "platform/RunLoop.h"
#include "platform/testing/FakeDesktopServices.h"
#include "tests/support/loopback/LoopbackServer.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <string>

namespace {

using namespace std::chrono_literals;
using tessel::DeviceLink;
using tessel::StateStore;
using test_support::LoopbackServer;

// A program that links; everything is gone with it, the link first. The threads go last, so that
// they meet with freed memory whatever they still use of the rest.
class Program {
  public:
    explicit Program(const std::filesystem::path& state)
        : system_(platform::makeHeadlessPlatform({{"HOME", state}}))
        , link_(DeviceLink::create(
              {.mainQueue = *loop_,
               .backgroundQueues = system_->backgroundQueues(),
               .clock = *clock_,
               .host = system_->host(),
               .http = system_->httpClient(),
               .workspace = *workspace_},
              std::make_shared<StateStore>(
                  StateStore::Facilities{.fileSystem = system_->fileSystem(),
                                         .privateFiles = system_->privateFiles(),
                                         .host = system_->host(),
                                         .clock = *clock_},
                  "Linker", platform::Environment{{"LINKER_STATE_DIR", state / "state"}}),
              "Linker")) {}

    void begin(const std::string& origin) { link_->begin(tessel::Url(origin), "Device"); }
    void runUntil(const std::function<bool()>& condition) { loop_->runUntil(condition); }
    [[nodiscard]] bool isWaiting() const {
        return std::holds_alternative<DeviceLink::Waiting>(link_->state());
    }

  private:
    platform::testing::Events events_;
    std::unique_ptr<platform::HeadlessPlatform> system_;
    std::unique_ptr<platform::RunLoop> loop_ = std::make_unique<platform::RunLoop>();
    std::unique_ptr<platform::Clock> clock_ = std::make_unique<platform::SystemClock>();
    std::unique_ptr<platform::Workspace> workspace_ =
        std::make_unique<platform::testing::FakeWorkspace>(events_);
    std::shared_ptr<DeviceLink> link_;
};

class DeviceLinkLifetime : public testing::Test {
  protected:
    LoopbackServer::Reply startReply() {
        return {.body = R"({"code":"C","pollToken":"p","expiresAt":"2099-01-01T00:00:00Z",)"
                        R"("interval":1,"verifyUrl":")" +
                        server.url("/link") + "\"}"};
    }

    test_support::TemporaryFolder folder;
    LoopbackServer server;
};

TEST_F(DeviceLinkLifetime, endsAtOnceInTheMiddleOfARequest) {
    server.setMisbehaviour(LoopbackServer::Misbehaviour::neverAnswer);
    auto program = std::make_unique<Program>(folder.path());
    program->begin(server.url(""));
    ASSERT_TRUE(server.waitForRequests(1));
    const auto begun = std::chrono::steady_clock::now();
    program.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 20s) << "the request has 30 s";
}

TEST_F(DeviceLinkLifetime, usesNothingWhenTheAnswerComesWhileItEnds) {
    for (int round = 0; round < 20; ++round) {
        std::promise<void> ending;
        const auto isEnding = ending.get_future().share();
        server.setHandler([&, isEnding](const LoopbackServer::Request&) {
            isEnding.wait();
            return startReply();
        });
        auto program = std::make_unique<Program>(folder.path());
        program->begin(server.url(""));
        ASSERT_TRUE(server.waitForRequests(static_cast<std::size_t>(round) + 1));
        ending.set_value();
        program.reset();
    }
}

TEST_F(DeviceLinkLifetime, usesNothingWhenTheApprovalComesWhileItEnds) {
    std::promise<void> ending;
    const auto isEnding = ending.get_future().share();
    server.setHandler([&, isEnding](const LoopbackServer::Request& request) {
        if (request.target == "/api/link/start") {
            return startReply();
        }
        isEnding.wait();
        return LoopbackServer::Reply{.body = R"({"status":"approved","token":"t"})"};
    });
    auto program = std::make_unique<Program>(folder.path());
    program->begin(server.url(""));
    program->runUntil([&] { return program->isWaiting() && server.requests().size() == 2; });
    ending.set_value();
    program.reset();
}

} // namespace
