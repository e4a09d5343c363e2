// Loopback ports, random bytes, XDG folders and notifications.
#include "platform/linux/LocalNotificationCenter.h"
#include "platform/linux/XdgFolders.h"
#include "platform/linux/crypto/SodiumRandomSource.h"
#include "platform/posix/PosixLoopbackPorts.h"
#include "platform/testing/InMemorySystem.h"
#include "platform/testing/ManualScheduler.h"
#include "tests/platform/services/SmallContracts.h"
#include "tests/platform/services/ThreadCosts.h"
#include "tests/support/loopback/LoopbackServer.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <stdexcept>
#include <thread>

namespace {

using platform::Environment;
using platform::PortFailure;
using testing::ElementsAre;

std::unique_ptr<platform::LoopbackPorts> posixPorts() {
    return std::make_unique<platform::PosixLoopbackPorts>();
}
std::unique_ptr<platform::LoopbackPorts> fakePorts() {
    return std::make_unique<platform::testing::FakeLoopbackPorts>();
}
std::unique_ptr<platform::RandomSource> sodium() {
    return std::make_unique<platform::SodiumRandomSource>();
}
std::unique_ptr<platform::RandomSource> fakeRandom() {
    return std::make_unique<platform::testing::FakeRandomSource>();
}

INSTANTIATE_TEST_SUITE_P(Posix, LoopbackPortsContract, testing::Values(posixPorts));
INSTANTIATE_TEST_SUITE_P(Fake, LoopbackPortsContract, testing::Values(fakePorts));
INSTANTIATE_TEST_SUITE_P(Sodium, RandomSourceContract, testing::Values(sodium));
INSTANTIATE_TEST_SUITE_P(Fake, RandomSourceContract, testing::Values(fakeRandom));

TEST(PosixLoopbackPorts, findsAPortTakenThatAnotherSocketListensOn) {
    const test_support::LoopbackServer server;
    platform::PosixLoopbackPorts ports;

    const auto bound = ports.tryBind(server.port());

    ASSERT_FALSE(bound);
    EXPECT_EQ(bound.error().stage, PortFailure::Stage::bind);
    EXPECT_EQ(bound.error().errnoValue, EADDRINUSE);
}

TEST(PosixLoopbackPorts, leavesNoSocketOpen) {
    const test_support::LoopbackServer server;
    platform::PosixLoopbackPorts ports;
    const auto before = openDescriptors();
    EXPECT_TRUE(ports.tryBind(0));
    EXPECT_FALSE(ports.tryBind(server.port()));
    EXPECT_EQ(openDescriptors(), before);
}

TEST(PosixLoopbackPorts, saysThatThereIsNoSocketWhenDescriptorsAreUsedUp) {
    platform::PosixLoopbackPorts ports;
    // Sanitizers look at an object with the help of a descriptor, the first time they see it.
    EXPECT_TRUE(ports.tryBind(0));
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const auto bound = ports.tryBind(0);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);

    ASSERT_FALSE(bound);
    EXPECT_EQ(bound.error().stage, PortFailure::Stage::socket);
    EXPECT_EQ(bound.error().errnoValue, EMFILE);
}

TEST(SodiumRandomSource, fillsEveryByteAnewEachTime) {
    platform::SodiumRandomSource random;
    std::vector<std::byte> seen(4096, std::byte{0});
    std::vector<std::byte> last(4096, std::byte{0});
    for (int round = 0; round < 8; ++round) {
        std::vector<std::byte> bytes(4096);
        ASSERT_TRUE(random.fill(bytes));
        EXPECT_NE(bytes, last);
        last = bytes;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            seen[i] |= bytes[i];
        }
    }
    // A byte that stays zero in eight draws: once in 2^52 runs of this test.
    EXPECT_EQ(std::ranges::count(seen, std::byte{0}), 0);
}

TEST(XdgFolders, liveInTheHomeFolderByDefault) {
    const auto folders = platform::xdgFolders({}, "/home/ann");
    EXPECT_EQ(folders.dataHome, "/home/ann/.local/share");
    EXPECT_EQ(folders.configHome, "/home/ann/.config");
    EXPECT_EQ(folders.cacheHome, "/home/ann/.cache");
    EXPECT_EQ(folders.runtimeFolder, std::nullopt);
}

TEST(XdgFolders, areWhereTheEnvironmentSays) {
    const Environment environment{{"XDG_DATA_HOME", "/d"},
                                  {"XDG_CONFIG_HOME", "/c o"},
                                  {"XDG_CACHE_HOME", "/k/"},
                                  {"XDG_RUNTIME_DIR", "/run/user/1"}};
    const auto folders = platform::xdgFolders(environment, "/home/ann");
    EXPECT_EQ(folders.dataHome, "/d");
    EXPECT_EQ(folders.configHome, "/c o");
    EXPECT_EQ(folders.cacheHome, "/k/");
    EXPECT_EQ(folders.runtimeFolder, "/run/user/1");
}

TEST(XdgFolders, ignoreRelativeAndEmptyVariables) {
    for (const std::string value : {"", "relative", "./here", "~/there"}) {
        const Environment environment{{"XDG_DATA_HOME", value},
                                      {"XDG_CONFIG_HOME", value},
                                      {"XDG_CACHE_HOME", value},
                                      {"XDG_RUNTIME_DIR", value}};
        const auto folders = platform::xdgFolders(environment, "/home/ann");
        EXPECT_EQ(folders.dataHome, "/home/ann/.local/share") << value;
        EXPECT_EQ(folders.configHome, "/home/ann/.config") << value;
        EXPECT_EQ(folders.cacheHome, "/home/ann/.cache") << value;
        EXPECT_EQ(folders.runtimeFolder, std::nullopt) << value;
    }
}

TEST(XdgFolders, findTheHomeOfAUserWithoutTheVariable) {
    EXPECT_EQ(platform::homeFolder({{"HOME", "/home/ann"}}), "/home/ann");
    for (const Environment& environment :
         {Environment{}, Environment{{"HOME", ""}}, Environment{{"HOME", "ann"}}}) {
        EXPECT_TRUE(platform::homeFolder(environment).is_absolute());
    }
}

class LocalNotificationCenterTest : public testing::Test {
  protected:
    std::function<void()> note(std::string text) {
        return [this, text = std::move(text)] { heard.push_back(text); };
    }

    platform::testing::ManualScheduler scheduler;
    std::optional<platform::LocalNotificationCenter> center{scheduler.mainQueue()};
    std::vector<std::string> heard;
};

TEST_F(LocalNotificationCenterTest, callsTheHandlersOfANameInTheOrderOfTheirRegistration) {
    center->observe("saved", note("first"));
    center->observe("other", note("wrong"));
    center->observe("saved", note("second"));
    center->post("saved");
    center->post("nobody listens");
    EXPECT_TRUE(heard.empty()) << "post called a handler itself";

    scheduler.runReady();

    EXPECT_THAT(heard, ElementsAre("first", "second"));
}

TEST_F(LocalNotificationCenterTest, deliversEachPostOnceInOrder) {
    center->observe("a", note("a"));
    center->observe("b", note("b"));
    for (const auto* name : {"a", "b", "b", "a"}) {
        center->post(name);
    }
    scheduler.runReady();
    EXPECT_THAT(heard, ElementsAre("a", "b", "b", "a"));
}

TEST_F(LocalNotificationCenterTest, aHandlerMayAddHandlersAndPost) {
    center->observe("saved", [&] {
        heard.emplace_back("outer");
        if (heard.size() == 1) {
            center->observe("saved", note("inner"));
            center->post("saved");
        }
    });
    center->post("saved");

    scheduler.runReady();

    EXPECT_THAT(heard, ElementsAre("outer", "outer", "inner"));
}

TEST_F(LocalNotificationCenterTest, aHandlerMayEndTheCenter) {
    center->observe("end", [&] { center.reset(); });
    center->observe("end", note("still called"));
    center->post("end");
    center->post("end");

    scheduler.runReady();

    EXPECT_THAT(heard, ElementsAre("still called"));
}

TEST_F(LocalNotificationCenterTest, dropsWhatWasPostedWhenItEnds) {
    center->observe("saved", note("late"));
    center->post("saved");
    center.reset();

    scheduler.runReady();

    EXPECT_TRUE(heard.empty());
}

TEST_F(LocalNotificationCenterTest, refusesObserversOfOtherThreads) {
    scheduler.leaveMainThread();
    EXPECT_THROW(center->observe("saved", note("never")), std::logic_error);
}

} // namespace
