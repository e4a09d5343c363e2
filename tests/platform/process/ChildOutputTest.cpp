// What a child writes arrives raw, whole, in order and as fast as it is written, in little memory.
#include "tests/platform/process/ChildFixture.h"

#include <sys/resource.h>

#include <cstdint>
#include <future>

namespace process_test {
namespace {

long peakMemoryInKilobytes() {
    struct rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST_F(ChildTest, hasItsRawBytesPassedOn) {
    EXPECT_EQ(outputOf(testChild({"print-hex=00ff0a80c3280d00"})),
              std::string("\x00\xff\x0a\x80\xc3\x28\x0d\x00", 8));
}

TEST_F(ChildTest, hasBothItsOutputsInOnePipeInTheOrderOfWriting) {
    EXPECT_EQ(outputOf(testChild({"print=1", "error=2", "print=3", "error=4"})), "1\n2\n3\n4\n");
}

TEST_F(ChildTest, isReadWhileItRuns) {
    const auto child = launch(testChild({"trickle=slowly", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("slowly"));
    EXPECT_TRUE(child->isRunning());
}

TEST_F(ChildTest, losesNothingOfAGigabyteAndCostsLittleMemory) {
    constexpr std::uint64_t gigabyte = 1'000'000'000;
    std::uint64_t bytes = 0; // read after the exit, which comes later on the same thread
    auto options = testChild({"flood=1000000000:65536"});
    options.onOutput = [&](std::string_view piece) { bytes += piece.size(); };
    options.onExit = recorder.onExit();
    const long before = peakMemoryInKilobytes();
    const auto child = launch(std::move(options));
    EXPECT_TRUE(child->waitForExit(std::chrono::minutes(2)));
    EXPECT_EQ(recorder.exit(), exitedWith(0));
    EXPECT_EQ(bytes, gigabyte);
    EXPECT_LT(peakMemoryInKilobytes() - before, 16 * 1024);
}

TEST_F(ChildTest, isReadThoughAnotherOneFloods) {
    std::promise<void> flooding;
    std::uint64_t bytes = 0;
    auto flood = testChild({"flood=endless:65536"});
    flood.onOutput = [&](std::string_view piece) {
        constexpr std::uint64_t started = 1'000'000;
        if (bytes < started && bytes + piece.size() >= started) {
            flooding.set_value();
        }
        bytes += piece.size();
    };
    const auto loud = launch(std::move(flood));
    flooding.get_future().get();
    const auto quiet = launch(testChild({"trickle=heard", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("heard"));
    EXPECT_TRUE(loud->isRunning());
    launcher.reset();
}

} // namespace
} // namespace process_test
