// Who holds a child, and what happens to it and to its callbacks when nobody does any more.
#include "tests/platform/process/ChildFixture.h"

#include <atomic>
#include <csignal>
#include <future>
#include <thread>
#include <tuple>

namespace process_test {
namespace {

using namespace std::chrono_literals;

TEST_F(ChildTest, isKilledWithItsGroupWhenItsHandleIsDropped) {
    auto child = launch(testChild({"ignore-term", "fork=drop", "hang"}, recorder));
    const Watched grandchild(recorder.numberAfter("grandchild"));
    const Watched process(child->pid());
    child.reset();
    EXPECT_TRUE(process.ends());
    EXPECT_TRUE(grandchild.ends());
    launcher.reset();
    EXPECT_FALSE(hasChildren());
}

TEST_F(ChildTest, isSilentOnceItsHandleIsDropped) {
    auto child = launch(testChild({"ready", "flood=endless:1000"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    child.reset();
    const auto size = recorder.output().size();
    launcher.reset(); // the internal thread has seen the child's end after this
    EXPECT_EQ(recorder.output().size(), size);
    EXPECT_EQ(recorder.exits(), 0);
}

TEST_F(ChildTest, finishesTheCallbackThatIsUnderWayBeforeItsHandleIsGone) {
    std::promise<void> entered;
    std::atomic<bool> dropping = false;
    std::atomic<bool> finished = false;
    auto options = testChild({"ready", "hang"});
    options.onOutput = [&](std::string_view) {
        entered.set_value();
        while (!dropping) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(20ms); // a slow callback, so that a drop that did not wait wins
        finished = true;
    };
    auto child = launch(std::move(options));
    entered.get_future().get();
    dropping = true;
    child.reset();
    EXPECT_TRUE(finished);
}

// The only handle of a child, for callbacks that drop it.
struct LastHandle {
    std::promise<void> filled;
    std::shared_future<void> whenFilled = filled.get_future().share();
    std::shared_ptr<platform::ChildProcess> child;

    void fill(std::shared_ptr<platform::ChildProcess> handle) {
        child = std::move(handle);
        filled.set_value();
    }
    void drop() {
        whenFilled.wait();
        child.reset();
    }
};

TEST_F(ChildTest, mayBeDroppedWhileACallbackWaitsForItsEnd) {
    std::promise<void> entered;
    std::atomic<bool> ended = false;
    const Watched* process = nullptr;
    auto options = testChild({"ready", "hang"});
    std::promise<void> watching;
    options.onOutput = [&](std::string_view) {
        entered.set_value();
        watching.get_future().get();
        ended = process->ends();
    };
    auto child = launch(std::move(options));
    entered.get_future().get();
    const Watched watched(child->pid());
    process = &watched;
    watching.set_value();
    child.reset();
    EXPECT_TRUE(ended);
}

TEST_F(ChildTest, mayLoseItsLastHandleInsideItsOutputCallback) {
    const auto handle = std::make_shared<LastHandle>();
    std::promise<void> dropped;
    std::atomic<int> calls = 0;
    auto options = testChild({"ready", "flood=endless:1000"});
    options.onOutput = [&, handle](std::string_view) {
        if (++calls == 1) {
            handle->drop();
            dropped.set_value();
        }
    };
    options.onExit = [&](platform::ExitStatus) { ++calls; };
    handle->fill(launch(std::move(options)));
    dropped.get_future().get();
    launcher.reset();
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(hasChildren());
}

TEST_F(ChildTest, mayLoseItsLastHandleInsideItsExitCallback) {
    const auto handle = std::make_shared<LastHandle>();
    std::promise<platform::ExitStatus> ended;
    auto options = testChild({"exit=3"});
    options.onExit = [&, handle](platform::ExitStatus status) {
        handle->drop();
        ended.set_value(status);
    };
    handle->fill(launch(std::move(options)));
    EXPECT_EQ(ended.get_future().get(), exitedWith(3));
}

TEST_F(ChildTest, mayBeDroppedInsideTheCallbackOfAnotherChild) {
    const auto handle = std::make_shared<LastHandle>();
    const Recorder silent;
    handle->fill(launch(testChild({"ready", "hang"}, silent)));
    EXPECT_TRUE(silent.says("ready"));
    const Watched process(handle->child->pid());
    auto options = testChild({"exit=0"});
    options.onExit = [handle](platform::ExitStatus) { handle->drop(); };
    const auto other = launch(std::move(options));
    EXPECT_TRUE(process.ends());
    launcher.reset();
    EXPECT_EQ(silent.exits(), 0);
}

TEST_F(ChildTest, letsGoOfItsCallbacksWhenItHasExited) {
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> observer = captured;
    auto options = testChild({"exit=0"});
    options.onOutput = [captured](std::string_view) {};
    options.onExit = [captured](platform::ExitStatus) {};
    captured.reset();
    const auto child = launch(std::move(options));
    launcher.reset();
    EXPECT_TRUE(observer.expired());
}

TEST_F(ChildTest, isKilledAndReportedWhenTheLauncherGoes) {
    const auto child = launch(testChild({"ignore-term", "ready", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    launcher.reset();
    EXPECT_EQ(recorder.exits(), 1);
    EXPECT_EQ(recorder.exit(), killedBy(SIGKILL));
    EXPECT_FALSE(hasChildren());
}

TEST_F(ChildTest, mayBeAskedAnythingAfterTheLauncherHasGone) {
    const auto child = launch(testChild({"hang"}));
    launcher.reset();
    EXPECT_FALSE(child->isRunning());
    EXPECT_TRUE(child->waitForExit(0ms));
    child->terminate();
    child->kill();
}

TEST_F(ChildTest, takesNoDescriptorWithItWhenEverythingIsDropped) {
    launcher.reset();
    const auto before = openDescriptors();
    launcher = std::make_unique<platform::PosixChildLauncher>(ZORVANE_GUARDIAN_PATH);
    for (int turn = 0; turn < 2; ++turn) {
        std::ignore = launch(testChild({"hang"}, recorder));
    }
    launcher.reset();
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(threadsBecome("children", 0));
}

} // namespace
} // namespace process_test
