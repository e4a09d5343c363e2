#include "ostrad/FileReader.h"

#include "tests/ostrad/TempFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <future>
#include <thread>

namespace ostrad {
namespace {

class FileReaderTest : public testing::Test {
  protected:
    FileReaderTest() {
        for (int number = 0; content.size() < 3'000'000; ++number) {
            content += std::to_string(number) + ',';
        }
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
        ours.reset(ends[0]);
        theirs.reset(ends[1]);
        ::fcntl(ours.get(), F_SETFL, O_NONBLOCK);
    }
    FileReader reader() {
        return {UniqueFd(::open(temp.write("file", content).c_str(), O_RDONLY | O_CLOEXEC)), 1000};
    }
    // What the other end gets until the connection ends, or so much of it.
    std::string receive(std::size_t most) {
        std::string all;
        std::array<char, 4096> piece{};
        ssize_t got = 1;
        while (all.size() < most && (got = ::read(theirs.get(), piece.data(),
                                                  std::min(piece.size(), most - all.size()))) > 0) {
            all.append(piece.data(), static_cast<std::size_t>(got));
        }
        return all;
    }

    test::TempFolder temp;
    std::string content;
    UniqueFd ours;
    UniqueFd theirs;
};

TEST_F(FileReaderTest, readsPiecesOfAtMostTheSizeItWasGiven) {
    FileReader file = reader();
    ASSERT_EQ(file.read(10, 5000), 1000);
    EXPECT_EQ(std::string(file.data(), 1000), content.substr(10, 1000));
    EXPECT_EQ(file.read(10, 7), 7);
    EXPECT_EQ(file.read(content.size() - 3, 1000), 3);
    EXPECT_EQ(file.read(content.size(), 1000), 0);
    const auto atOnce = file.readAtOnce(20, 5000);
    if (atOnce) { // where the file system can tell
        EXPECT_EQ(std::string(file.data(), static_cast<std::size_t>(*atOnce)),
                  content.substr(20, 1000));
    }
}

#ifdef __linux__
TEST_F(FileReaderTest, handsAllOfItToAReaderThatKeepsReading) {
    const FileReader file = reader();
    const std::size_t size = content.size() - 100;
    auto received = std::async(std::launch::async, [this, size] { return receive(size); });
    // A reader may pause for longer than the patience lasts; what it was given it keeps.
    std::uint64_t sent = 0;
    while (sent < size) {
        const auto taken = file.sendTo(ours.get(), 50 + sent, size - sent);
        ASSERT_TRUE(taken);
        sent += *taken;
    }
    EXPECT_EQ(received.get(), content.substr(50, size));
}

TEST_F(FileReaderTest, comesBackFromAReaderThatDoesNotRead) {
    const FileReader file = reader();
    const auto taken = file.sendTo(ours.get(), 0, content.size());
    ASSERT_TRUE(taken);
    EXPECT_GT(*taken, 0U);
    EXPECT_LT(*taken, content.size());
    EXPECT_EQ(receive(*taken), content.substr(0, *taken));
}

TEST_F(FileReaderTest, waitsAMomentForAReaderThatIsBusy) {
    constexpr int tooOften = 10'000;
    const FileReader file = reader();
    const auto first = file.sendTo(ours.get(), 0, content.size());
    ASSERT_TRUE(first);
    // The socket is full, and whoever makes room begins when somebody waits for it.
    std::atomic<int> calls = 0;
    const std::string task = "/proc/self/task/" + std::to_string(::gettid()) + "/stat";
    std::thread busy([&] {
        while (calls < tooOften && test::readFile(task).find(") S ") == std::string::npos) {
            std::this_thread::yield();
        }
        receive(*first / 2);
    });
    std::uint64_t more = 0;
    while (more == 0 && ++calls < tooOften) { // the patience may end before a slow reader begins
        more = file.sendTo(ours.get(), *first, 1000).value_or(1);
    }
    EXPECT_EQ(more, 1000U);
    busy.join();
}
#endif

TEST_F(FileReaderTest, saysWhatItHandedOverBeforeTheFileEnded) {
    const FileReader file = reader();
    const auto taken = file.sendTo(ours.get(), content.size() - 10, 1000);
    EXPECT_EQ(taken.value_or(10), 10U);
}

} // namespace
} // namespace ostrad
