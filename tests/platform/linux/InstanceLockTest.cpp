// One instance a folder: the lock, the request to the holder, and what a crash leaves. The two
// instances of a test are two objects; each opens the lock file itself, which is what counts for
// flock. Needs no display.
#include "platform/linux/InstanceLock.h"

#include <fcntl.h>
#include <glib.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <vector>

namespace {

using platform::desktop::InstanceLock;
using platform::desktop::InstancePlace;
using Outcome = InstanceLock::Outcome;
using std::chrono::milliseconds;

constexpr std::chrono::seconds patience{20};

class InstanceLockTest : public ::testing::Test {
  protected:
    InstanceLockTest() {
        std::string name = (std::filesystem::temp_directory_path() / "lock-XXXXXX").string();
        EXPECT_NE(::mkdtemp(name.data()), nullptr);
        root = name;
    }

    ~InstanceLockTest() override { std::filesystem::remove_all(root); }

    // What a second instance is told while the first one's main loop runs.
    Outcome claimWhileTheHolderRuns(const std::string& token, const InstancePlace& place = {}) {
        std::atomic<bool> done = false;
        auto claim = std::async(std::launch::async, [&] {
            InstanceLock second(folder(), place);
            const Outcome outcome = second.claim(token, patience);
            holder = second.holder();
            done = true;
            g_main_context_wakeup(nullptr);
            return outcome;
        });
        while (!done) {
            g_main_context_iteration(nullptr, TRUE);
        }
        return claim.get();
    }

    [[nodiscard]] std::filesystem::path folder() const { return root / "home" / "app.id"; }

    std::filesystem::path root;
    std::optional<InstancePlace> holder; // as the second instance knows it
};

InstancePlace placeAt(const std::string& display) {
    return {.host = "mars", .process = 12, .x11 = display};
}

mode_t modeOf(const std::filesystem::path& path) {
    struct stat info{};
    EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777U;
}

TEST_F(InstanceLockTest, isHeldByTheFirstAndHandedTheRequestOfTheSecond) {
    InstanceLock first(folder());
    ASSERT_EQ(first.claim("", patience), Outcome::held);
    std::vector<std::string> requests;
    first.listen({.reopen = [&](std::string token) { requests.push_back(std::move(token)); }});

    EXPECT_EQ(claimWhileTheHolderRuns("token-1"), Outcome::handedOver);
    EXPECT_EQ(claimWhileTheHolderRuns(""), Outcome::handedOver);
    EXPECT_EQ(requests, (std::vector<std::string>{"token-1", ""}));
}

TEST_F(InstanceLockTest, isNotAskedToShowItselfWhereNobodyHereWouldSeeIt) {
    InstanceLock first(folder(), placeAt(":0"));
    ASSERT_EQ(first.claim("", patience), Outcome::held);
    int requests = 0;
    first.listen({.reopen = [&](const std::string&) { ++requests; }});
    EXPECT_EQ(claimWhileTheHolderRuns("", placeAt(":1")), Outcome::elsewhere);
    EXPECT_EQ(holder, placeAt(":0"));
    EXPECT_EQ(requests, 0);
    EXPECT_EQ(claimWhileTheHolderRuns("", placeAt(":0")), Outcome::handedOver);
    EXPECT_EQ(requests, 1);
}

TEST_F(InstanceLockTest, isWaitedForWhenItIsOfNoUseWhereItIs) {
    auto first = std::make_unique<InstanceLock>(folder(), placeAt(":0"));
    ASSERT_EQ(first->claim("", patience), Outcome::held);
    first->listen({.reopen = [](const std::string&) { FAIL(); },
                   .stays =
                       [&] {
                           g_idle_add(
                               [](gpointer lock) -> gboolean {
                                   static_cast<std::unique_ptr<InstanceLock>*>(lock)->reset();
                                   return G_SOURCE_REMOVE;
                               },
                               &first);
                           return false;
                       }});
    EXPECT_EQ(claimWhileTheHolderRuns("", placeAt(":1")), Outcome::held);
    EXPECT_EQ(first, nullptr);
}

TEST_F(InstanceLockTest, isAskedWhenItDoesNotSayWhereItIs) {
    InstanceLock first(folder());
    ASSERT_EQ(first.claim("", patience), Outcome::held);
    first.listen({.reopen = [](const std::string&) {}});
    EXPECT_EQ(claimWhileTheHolderRuns("", placeAt(":1")), Outcome::handedOver);
    EXPECT_EQ(holder, std::nullopt);
}

TEST_F(InstanceLockTest, saysNothingOfTheHolderBefore) {
    {
        InstanceLock before(folder(), {.host = std::string(300, 'm'), .process = 1, .x11 = ":9"});
        ASSERT_EQ(before.claim("", patience), Outcome::held);
    }
    InstanceLock first(folder(), placeAt(":0"));
    ASSERT_EQ(first.claim("", patience), Outcome::held);
    first.listen({.reopen = [](const std::string&) {}});
    EXPECT_EQ(claimWhileTheHolderRuns("", placeAt(":0")), Outcome::handedOver);
    EXPECT_EQ(holder, placeAt(":0"));
}

TEST_F(InstanceLockTest, cutsATokenThatIsTooLong) {
    InstanceLock first(folder());
    ASSERT_EQ(first.claim("", patience), Outcome::held);
    std::string received;
    first.listen({.reopen = [&](std::string token) { received = std::move(token); }});
    EXPECT_EQ(claimWhileTheHolderRuns(std::string(1'000'000, 'x')), Outcome::handedOver);
    EXPECT_EQ(received, std::string(1024, 'x'));
}

TEST_F(InstanceLockTest, makesItsFolderAndFilesPrivateWhateverTheMask) {
    const mode_t mask = ::umask(0);
    InstanceLock first(folder());
    EXPECT_EQ(first.claim("", patience), Outcome::held);
    first.listen({.reopen = [](const std::string&) {}});
    ::umask(mask);
    EXPECT_EQ(modeOf(folder().parent_path()), 0700U);
    EXPECT_EQ(modeOf(folder()), 0700U);
    EXPECT_EQ(modeOf(folder() / "instance.lock"), 0600U);
    EXPECT_EQ(modeOf(folder() / "instance.socket"), 0600U);
    EXPECT_FALSE(first.failure());
}

TEST_F(InstanceLockTest, isFreeAgainWhenItsHolderIsGone) {
    {
        InstanceLock first(folder());
        ASSERT_EQ(first.claim("", patience), Outcome::held);
        first.listen({.reopen = [](const std::string&) {}});
    }
    InstanceLock second(folder());
    EXPECT_EQ(second.claim("", patience), Outcome::held);
    EXPECT_FALSE(std::filesystem::exists(folder() / "instance.socket"));
}

TEST_F(InstanceLockTest, isNotHinderedByWhatACrashLeft) {
    std::filesystem::create_directories(folder());
    std::ofstream(folder() / "instance.lock") << "anything";
    std::ofstream(folder() / "instance.socket") << "not even a socket";
    InstanceLock second(folder());
    ASSERT_EQ(second.claim("", patience), Outcome::held);
    second.listen({.reopen = [](const std::string&) {}});
    EXPECT_FALSE(second.failure());
    EXPECT_EQ(claimWhileTheHolderRuns(""), Outcome::handedOver);
}

TEST_F(InstanceLockTest, waitsForAHolderOnItsWayOut) {
    auto first = std::make_unique<InstanceLock>(folder());
    ASSERT_EQ(first->claim("", patience), Outcome::held);
    first->listen({.reopen = [](const std::string&) { FAIL(); }});
    first->stopListening();
    auto claim = std::async(std::launch::async, [&] {
        InstanceLock second(folder());
        return second.claim("", patience);
    });
    EXPECT_EQ(claim.wait_for(milliseconds(100)), std::future_status::timeout);
    first.reset();
    EXPECT_EQ(claim.get(), Outcome::held);
}

TEST_F(InstanceLockTest, waitsForAHolderThatStopsListeningWithARequestInItsBacklog) {
    auto first = std::make_unique<InstanceLock>(folder());
    ASSERT_EQ(first->claim("", patience), Outcome::held);
    first->listen({.reopen = [](const std::string&) { FAIL(); }});
    auto claim = std::async(std::launch::async, [&] {
        InstanceLock second(folder());
        return second.claim("", patience);
    });
    EXPECT_EQ(claim.wait_for(milliseconds(100)), std::future_status::timeout);
    first->stopListening(); // never answered what it was sent
    first.reset();
    EXPECT_EQ(claim.get(), Outcome::held);
}

TEST_F(InstanceLockTest, givesUpOnAHolderThatDoesNotAnswer) {
    InstanceLock first(folder());
    ASSERT_EQ(first.claim("", patience), Outcome::held);
    first.listen({.reopen = [](const std::string&) {}}); // but its main loop does not run
    InstanceLock second(folder());
    EXPECT_EQ(second.claim("", milliseconds(50)), Outcome::unreachable);
}

TEST_F(InstanceLockTest, givesUpOnAHolderThatNeverGoes) {
    InstanceLock first(folder());
    ASSERT_EQ(first.claim("", patience), Outcome::held);
    InstanceLock second(folder());
    EXPECT_EQ(second.claim("", milliseconds(120)), Outcome::unreachable);
}

TEST_F(InstanceLockTest, worksInAFolderWhosePathIsLongerThanASocketsAddress) {
    root /= std::string(200, 'l');
    InstanceLock first(folder());
    ASSERT_EQ(first.claim("", patience), Outcome::held);
    first.listen({.reopen = [](const std::string&) {}});
    EXPECT_FALSE(first.failure());
    EXPECT_EQ(claimWhileTheHolderRuns(""), Outcome::handedOver);
    root = root.parent_path();
}

TEST_F(InstanceLockTest, saysWhyThereCanBeNone) {
    std::ofstream(root / "home") << "a file in the way";
    InstanceLock first(folder());
    EXPECT_EQ(first.claim("", patience), Outcome::unavailable);
    ASSERT_TRUE(first.failure());
    EXPECT_NE(first.failure()->find(folder().string()), std::string::npos);
    EXPECT_NE(first.failure()->find("Not a directory"), std::string::npos);
}

TEST_F(InstanceLockTest, isNotHeldUpByAStrangerThatConnectsAndSaysNothing) {
    InstanceLock first(folder());
    ASSERT_EQ(first.claim("", patience), Outcome::held);
    int requests = 0;
    first.listen({.reopen = [&](const std::string&) { ++requests; }});
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = (folder() / "instance.socket").string();
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    const platform::posix::UniqueFd silent(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::connect(silent.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
              0);
    const platform::posix::UniqueFd rude(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::connect(rude.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
              0);
    ASSERT_GT(::send(rude.get(), "nonsense", 8, MSG_NOSIGNAL), 0);

    EXPECT_EQ(claimWhileTheHolderRuns(""), Outcome::handedOver);
    EXPECT_EQ(requests, 1);
}

TEST_F(InstanceLockTest, mayGoWhileItHandlesARequest) {
    auto first = std::make_unique<InstanceLock>(folder());
    ASSERT_EQ(first->claim("", patience), Outcome::held);
    first->listen({.reopen = [&](const std::string&) { first.reset(); }});
    EXPECT_EQ(claimWhileTheHolderRuns(""), Outcome::handedOver);
    EXPECT_EQ(first, nullptr);
}

} // namespace
