#include "platform/linux/window/PageMemory.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <semaphore>
#include <thread>

namespace platform::gtk {
namespace {

TEST(PageMemory, isLookedAtLessOftenWhileNoPageIsOnTheScreen) {
    EXPECT_EQ(secondsUntilLook(/*isPageOnScreen=*/true), 2U);
    EXPECT_EQ(secondsUntilLook(/*isPageOnScreen=*/false), 8U);
}

TEST(PageMemory, looksBelowEveryThreadNowAndThen) {
    EXPECT_EQ(threadsToLookAt(0), Threads::all);
    EXPECT_EQ(threadsToLookAt(1), Threads::main);
    EXPECT_EQ(threadsToLookAt(7), Threads::main);
    EXPECT_EQ(threadsToLookAt(8), Threads::all);
}

// A process of ours that is called like a page's, until it is told to end.
class FakePage {
  public:
    FakePage() {
        int named[2]{};
        if (::pipe2(static_cast<int*>(named), O_CLOEXEC) != 0) {
            return;
        }
        pid_ = ::fork();
        if (pid_ == 0) {
            ::prctl(PR_SET_NAME, "WebKitWebProcess");
            ::close(named[1]);
            ::close(named[0]);
            ::pause();
            ::_exit(0);
        }
        ::close(named[1]);
        char none = 0;
        (void)!::read(named[0], &none, 1); // ends when the child has its name
        ::close(named[0]);
    }
    ~FakePage() {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    FakePage(const FakePage&) = delete;
    FakePage& operator=(const FakePage&) = delete;
    [[nodiscard]] pid_t pid() const { return pid_; }

  private:
    pid_t pid_ = -1;
};

TEST(PageMemory, findsThePagesBelowTheMainThread) {
    const FakePage page;
    EXPECT_THAT(pageProcesses(Threads::main), ::testing::ElementsAre(page.pid()));
    EXPECT_THAT(pageProcesses(Threads::all), ::testing::ElementsAre(page.pid()));
}

TEST(PageMemory, findsThePagesBelowAnotherThread) {
    std::binary_semaphore started(0);
    std::binary_semaphore looked(0);
    pid_t pid = 0;
    const std::jthread other([&] {
        const FakePage page;
        pid = page.pid();
        started.release();
        looked.acquire();
    });
    started.acquire();
    EXPECT_THAT(pageProcesses(Threads::main), ::testing::IsEmpty());
    EXPECT_THAT(pageProcesses(Threads::all), ::testing::ElementsAre(pid));
    looked.release();
}

} // namespace
} // namespace platform::gtk
