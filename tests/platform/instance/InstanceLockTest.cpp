// The instance lock with a thread that answers, as an application has it whose main loop watches no
// descriptors. The two instances of a test are two objects; each opens the lock file itself, which
// is what counts for flock.
#include "platform/posix/InstanceLock.h"

#include "platform/posix/InstanceWatch.h"
#include "platform/posix/LocalSocket.h"
#include "platform/posix/Socket.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <vector>

namespace {

using platform::posix::InstanceLock;
using platform::posix::InstanceWatch;
using Outcome = InstanceLock::Outcome;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::chrono::seconds patience{20};

class InstanceTest : public testing::Test {
  protected:
    // The first instance, which answers from now on.
    void start() {
        ASSERT_EQ(first.claim("", patience), Outcome::held);
        ASSERT_TRUE(
            first.listen([this](std::string token) { requests.push_back(std::move(token)); }));
        watch = std::make_unique<InstanceWatch>(first);
    }
    // The first instance ends.
    void end() {
        watch.reset();
        first.stopListening();
    }
    // Everything that it was asked until it ended: a request is answered before it is told.
    [[nodiscard]] std::vector<std::string> heard() {
        end();
        return requests;
    }
    [[nodiscard]] std::filesystem::path folder() const { return root / "home/app.id"; }

    // A stranger's connection to the first instance.
    [[nodiscard]] platform::posix::UniqueFd connection() const {
        const platform::posix::UniqueFd there(::open(folder().c_str(), O_RDONLY | O_CLOEXEC));
        const auto address =
            platform::posix::localSocketAddress(there.get(), folder(), "instance.socket");
        platform::posix::UniqueFd made(
            platform::posix::makeClosedOnExecSocket(AF_UNIX, SOCK_STREAM, 0));
        EXPECT_EQ(
            ::connect(made.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address),
            0);
        return made;
    }

    test_support::TemporaryFolder root;
    std::vector<std::string> requests; // the watch's thread's, until the watch has ended
    InstanceLock first{folder()};
    std::unique_ptr<InstanceWatch> watch;
};

TEST_F(InstanceTest, isNotWaitedForWhereItsFileIsAPipe) {
    std::filesystem::create_directories(folder());
    ASSERT_EQ(::mkfifo((folder() / "instance.lock").c_str(), 0600), 0);
    EXPECT_FALSE(InstanceLock::isHeld(folder()));
}

TEST_F(InstanceTest, isAskedToReopenByEverySecondOne) {
    start();
    EXPECT_EQ(InstanceLock(folder()).claim("token-1", patience), Outcome::handedOver);
    EXPECT_EQ(InstanceLock(folder()).claim("", patience), Outcome::handedOver);
    EXPECT_THAT(heard(), ElementsAre("token-1", ""));
}

TEST_F(InstanceTest, hearsNoMoreOfATokenThanItsBeginning) {
    start();
    EXPECT_EQ(InstanceLock(folder()).claim(std::string(1'000'000, 'x'), patience),
              Outcome::handedOver);
    EXPECT_THAT(heard(), ElementsAre(std::string(1024, 'x')));
}

TEST_F(InstanceTest, isFollowedByAnotherOnlyWhenItHasGone) {
    auto held = std::make_unique<InstanceLock>(folder());
    ASSERT_EQ(held->claim("", patience), Outcome::held);
    ASSERT_TRUE(held->listen([](const std::string&) { FAIL(); }));
    held->stopListening();
    auto claim =
        std::async(std::launch::async, [&] { return InstanceLock(folder()).claim("", patience); });
    EXPECT_EQ(claim.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    held.reset();
    EXPECT_EQ(claim.get(), Outcome::held);
}

TEST_F(InstanceTest, isNotAskedByTheOneThatFollowsIt) {
    auto held = std::make_unique<InstanceLock>(folder());
    ASSERT_EQ(held->claim("", patience), Outcome::held);
    ASSERT_TRUE(held->listen([](const std::string&) { FAIL(); }));
    auto answering = std::make_unique<InstanceWatch>(*held);
    auto claim = std::async(std::launch::async, [&] {
        InstanceLock next(folder());
        next.waitForHolder(patience);
        return next.claim("", patience);
    });
    EXPECT_EQ(claim.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    answering.reset();
    held.reset();
    EXPECT_EQ(claim.get(), Outcome::held);
}

TEST_F(InstanceTest, answersNobodyOnceItIsNoLongerWatched) {
    start();
    watch.reset();
    EXPECT_EQ(InstanceLock(folder()).claim("", std::chrono::milliseconds(50)),
              Outcome::unreachable);
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(InstanceTest, isNotHeldUpByStrangers) {
    start();
    const auto silent = connection();
    const auto rude = connection();
    ASSERT_GT(platform::posix::sendQuietly(rude.get(), "nonsense", 8), 0);
    const auto gone = connection();
    EXPECT_EQ(InstanceLock(folder()).claim("x", patience), Outcome::handedOver);
    EXPECT_THAT(heard(), ElementsAre("x"));
}

TEST_F(InstanceTest, keepsItsFilesToItsUserWhateverTheMask) {
    const mode_t mask = ::umask(0);
    start();
    ::umask(mask);
    for (const auto& [path, mode] : {std::pair{folder(), 0700},
                                     {folder().parent_path(), 0700},
                                     {folder() / "instance.lock", 0600},
                                     {folder() / "instance.socket", 0600}}) {
        struct stat info{};
        EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
        EXPECT_EQ(info.st_mode & 07777U, static_cast<mode_t>(mode)) << path;
    }
}

TEST_F(InstanceTest, leavesNoSocketBehind) {
    start();
    end();
    EXPECT_FALSE(std::filesystem::exists(folder() / "instance.socket"));
    EXPECT_TRUE(std::filesystem::exists(folder() / "instance.lock"));
}

TEST_F(InstanceTest, saysWhyThereCanBeNoLock) {
    std::ofstream(root / "home") << "a file in the way";
    EXPECT_EQ(first.claim("", patience), Outcome::unavailable);
    ASSERT_TRUE(first.failure());
    EXPECT_NE(first.failure()->find(folder().string()), std::string::npos);
}

} // namespace
