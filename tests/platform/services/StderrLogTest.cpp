// The log on a descriptor: the contract, hostile text, and sinks that are slow, full or gone.
#include "platform/posix/StderrLog.h"

#include "platform/posix/LogBuffer.h"
#include "platform/posix/LogLine.h"
#include "platform/posix/LogSink.h"
#include "platform/posix/Pipe.h"
#include "platform/testing/InMemorySystem.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/platform/services/LogContract.h"
#include "tests/platform/services/ThreadCosts.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <chrono>
#include <csignal>
#include <future>
#include <regex>

namespace {

using platform::StderrLog;
using platform::posix::LogBuffer;
using platform::posix::LogSink;
using platform::posix::UniqueFd;
using testing::ElementsAre;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const auto end = text.find('\n', at);
        EXPECT_NE(end, std::string::npos) << "the last line has no end: " << text.substr(at);
        lines.push_back(text.substr(at, end - at));
        at = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

UniqueFd openForAppending(const std::filesystem::path& path) {
    return UniqueFd(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
}

class StderrHarness final : public LogHarness {
  public:
    platform::Log& log() override { return *log_; }
    std::vector<std::string> finish() override {
        log_.reset();
        return linesOf(readText(folder_ / "log"));
    }

  private:
    test_support::TemporaryFolder folder_;
    UniqueFd file_ = openForAppending(folder_ / "log");
    std::optional<StderrLog> log_{std::in_place, platform::Environment(), file_.get()};
};

class RecordingHarness final : public LogHarness {
  public:
    platform::Log& log() override { return log_; }
    std::vector<std::string> finish() override { return log_.lines; }

  private:
    platform::testing::RecordingLog log_;
};

std::unique_ptr<LogHarness> onFile() {
    return std::make_unique<StderrHarness>();
}
std::unique_ptr<LogHarness> recording() {
    return std::make_unique<RecordingHarness>();
}

INSTANTIATE_TEST_SUITE_P(Stderr, LogContract, testing::Values(onFile));
INSTANTIATE_TEST_SUITE_P(Stderr, LogThreadContract, testing::Values(onFile));
INSTANTIATE_TEST_SUITE_P(Recording, LogContract, testing::Values(recording));

std::string escaped(std::string_view text) {
    std::string out(platform::posix::longestEscape * text.size(), '\0');
    const char* end = platform::posix::appendEscaped(out.data(), text);
    out.resize(static_cast<std::size_t>(end - out.data()));
    EXPECT_EQ(platform::posix::escapedSize(text), out.size());
    return out;
}

TEST(LogLine, passesPrintableTextUnchanged) {
    std::string ascii;
    for (char c = ' '; c < '\x7f'; ++c) {
        ascii += c;
    }
    for (const std::string& text :
         {ascii, std::string("tab\there"), std::string("gr\xc3\xbcn \xe2\x82\xac \xf0\x9f\x8e\xac"),
          std::string("\xc2\xa0"), std::string("\xef\xbf\xbf"), std::string("\xed\x9f\xbf"),
          std::string("\xf4\x8f\xbf\xbf"), std::string("back\\slash"), std::string()}) {
        EXPECT_EQ(escaped(text), text);
    }
}

TEST(LogLine, escapesEveryControlCharacterAtEveryPlace) {
    for (int byte = 0; byte < 256; ++byte) {
        const auto c = static_cast<char>(byte);
        const bool isPlain = (byte >= 0x20 && byte < 0x7f) || c == '\t';
        for (std::size_t before = 0; before < 20; ++before) {
            const std::string text = std::string(before, 'a') + c + std::string(13, 'z');
            const std::string shown = isPlain ? std::string(1, c) : fmt::format("\\x{:02x}", byte);
            ASSERT_EQ(escaped(text), std::string(before, 'a') + shown + std::string(13, 'z'));
        }
    }
}

TEST(LogLine, escapesBytesThatAreNoUtf8) {
    EXPECT_EQ(escaped("\xc3"), "\\xc3");
    EXPECT_EQ(escaped("\xe2\x82"), "\\xe2\\x82");
    EXPECT_EQ(escaped("\xe2\x82z"), "\\xe2\\x82z");
    EXPECT_EQ(escaped("\xc0\xaf"), "\\xc0\\xaf");                   // too long a form
    EXPECT_EQ(escaped("\xe0\x80\xaf"), "\\xe0\\x80\\xaf");          // too long a form
    EXPECT_EQ(escaped("\xed\xa0\x80"), "\\xed\\xa0\\x80");          // a surrogate
    EXPECT_EQ(escaped("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80"); // above U+10FFFF
    EXPECT_EQ(escaped("\xff"
                      "ok\xc3\xbc"),
              "\\xffok\xc3\xbc");
}

TEST(LogLine, escapesTheEightBitControlsOfTerminals) {
    EXPECT_EQ(escaped("\xc2\x9b"
                      "31m"),
              "\\xc2\\x9b31m");
    EXPECT_EQ(escaped("\xc2\x80\xc2\x9f\xc2\xa0"), "\\xc2\\x80\\xc2\\x9f\xc2\xa0");
}

TEST(LogBuffer, countsDroppedLinesInTheirPlace) {
    LogBuffer buffer(100, "<6>");
    const std::string thirty(30, 'x');
    const std::vector<std::string_view> lines{thirty, thirty, thirty, "short", thirty};

    buffer.append("p:", lines);

    // Two long lines and the short one fit; the note about the third needs room, too.
    EXPECT_EQ(buffer.take(), "<6>p:" + thirty + "\n<6>p:" + thirty + "\n<6>3 log lines dropped\n");
    buffer.release();
    buffer.append("", {lines.data(), 1});
    EXPECT_EQ(buffer.take(), "<6>" + thirty + "\n");
}

TEST(LogBuffer, countsWhatIsBeingWrittenAgainstItsBound) {
    LogBuffer buffer(100, "");
    const std::string sixty(60, 'x');
    const std::vector<std::string_view> line{sixty};
    buffer.append("", line);
    ASSERT_EQ(buffer.take(), sixty + "\n");
    buffer.append("", line);
    buffer.release();
    buffer.append("", line);
    EXPECT_EQ(buffer.take(), "1 log lines dropped\n" + sixty + "\n");
}

TEST(LogBuffer, measuresLinesAsTheyAreWritten) {
    LogBuffer buffer(100, "");
    const std::string controls(30, '\x01'); // 120 bytes when escaped
    const std::string plain(99, 'x');
    buffer.append("", std::vector<std::string_view>{controls, plain});
    EXPECT_EQ(buffer.take(), "2 log lines dropped\n");
    buffer.release();
    buffer.append("", std::vector<std::string_view>{plain});
    EXPECT_EQ(buffer.take(), plain + "\n");
}

TEST(LogBuffer, handsOverWhatIsThereAfterItWasClosed) {
    LogBuffer buffer(100, "");
    buffer.append("", std::vector<std::string_view>{"before"});
    buffer.close();
    buffer.append("", std::vector<std::string_view>{"after"});
    EXPECT_EQ(buffer.take(), "before\n");
    buffer.release();
    EXPECT_EQ(buffer.take(), std::nullopt);
}

TEST(StderrLog, escapesPrefixesAndKeepsAMessageOnOneLine) {
    StderrHarness harness;
    harness.log().write("one\ntwo\r\n");
    const std::string_view line = "\x1b]0;title\x07";
    harness.log().writeLines("\x1b[31m", {&line, 1});
    EXPECT_THAT(harness.finish(),
                ElementsAre("one\\x0atwo\\x0d\\x0a", "\\x1b[31m\\x1b]0;title\\x07"));
}

TEST(StderrLog, prefixesThePriorityWhenItWritesToTheJournal) {
    const test_support::TemporaryFolder folder;
    const auto file = openForAppending(folder / "log");
    struct stat status{};
    ASSERT_EQ(::fstat(file.get(), &status), 0);
    const auto stream = fmt::format("{}:{}", status.st_dev, status.st_ino);
    for (const std::string& journal : {stream, stream + "0", std::string("x"), std::string()}) {
        StderrLog({{"JOURNAL_STREAM", journal}}, file.get()).write("line");
    }
    StderrLog({}, file.get()).write("line");
    EXPECT_THAT(linesOf(readText(folder / "log")),
                ElementsAre("<6>line", "line", "line", "line", "line"));
}

// Numbered lines of 100 bytes, and what came out of them: a number that is missing must be
// accounted for by a note in exactly its place.
void expectNumberedLines(const std::vector<std::string>& lines, int written) {
    static const std::regex note("(\\d+) log lines dropped");
    int next = 0;
    for (const auto& line : lines) {
        std::smatch match;
        if (std::regex_match(line, match, note)) {
            next += std::stoi(match[1]);
            continue;
        }
        ASSERT_EQ(std::stoi(line), next) << "a line is missing or out of order";
        ++next;
    }
    EXPECT_EQ(next, written);
}

std::string numbered(int number) {
    return fmt::format("{:<99}", number);
}

class PipeLogTest : public testing::Test {
  protected:
    std::string drain() {
        std::string text;
        std::array<char, 65536> buffer{};
        while (true) {
            const auto count =
                platform::posix::readSome(pipe.readEnd.get(), buffer.data(), buffer.size());
            if (count <= 0) {
                return text;
            }
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
    }

    platform::posix::Pipe pipe = std::move(*platform::posix::makePipe());
    std::optional<StderrLog> log{std::in_place, platform::Environment(), pipe.writeEnd.get()};
};

TEST_F(PipeLogTest, neverBlocksTheCallerAndAccountsForEveryLine) {
    constexpr int written = 100'000; // 10 MB: more than pipe and buffer hold
    for (int i = 0; i < written; ++i) {
        log->write(numbered(i)); // nobody reads yet: a call that waits never returns
    }
    auto text = std::async(std::launch::async, [this] { return drain(); });

    log.reset();
    pipe.writeEnd.reset();

    const auto lines = linesOf(text.get());
    expectNumberedLines(lines, written);
    EXPECT_GT(lines.size(), (std::size_t{2} << 20) / 100 - 2) << "the buffer was not used";
    EXPECT_LT(lines.size(), 60'000U);
}

TEST_F(PipeLogTest, goesOnAfterTheReaderCaughtUp) {
    constexpr int burst = 60'000;
    int next = 0;
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < burst; ++i) {
            log->write(numbered(next++));
        }
    }
    auto text = std::async(std::launch::async, [this] { return drain(); });
    log->write(numbered(next++));
    log.reset();
    pipe.writeEnd.reset();
    expectNumberedLines(linesOf(text.get()), next);
}

TEST_F(PipeLogTest, deliversEverythingToAReaderThatKeepsUp) {
    auto text = std::async(std::launch::async, [this] { return drain(); });
    constexpr int written = 20'000; // 2 MB: fits even if the reader sleeps
    for (int i = 0; i < written; ++i) {
        log->write(numbered(i));
    }
    log.reset();
    pipe.writeEnd.reset();
    const auto lines = linesOf(text.get());
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(written));
    expectNumberedLines(lines, written);
}

TEST_F(PipeLogTest, givesAReaderThatNeverReadsOneSecondAtTheEnd) {
    for (int i = 0; i < 10'000; ++i) {
        log->write(numbered(i));
    }
    const auto before = std::chrono::steady_clock::now();
    log.reset();
    const auto took = std::chrono::steady_clock::now() - before;
    EXPECT_GE(took, std::chrono::milliseconds(900));
    EXPECT_LT(took, std::chrono::seconds(5));
}

TEST_F(PipeLogTest, survivesAReaderThatIsGone) {
    pipe.readEnd.reset();
    for (int i = 0; i < 1000; ++i) {
        log->write(numbered(i));
    }
    const auto before = std::chrono::steady_clock::now();
    log.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(900));
}

TEST_F(PipeLogTest, leavesTheFlagsOfTheDescriptorAlone) {
    const int before = ::fcntl(pipe.writeEnd.get(), F_GETFL);
    log->write("line");
    EXPECT_EQ(::fcntl(pipe.writeEnd.get(), F_GETFL), before);
}

TEST_F(PipeLogTest, copesWithADescriptorThatOthersMadeNonBlocking) {
    platform::posix::setNonBlocking(pipe.writeEnd.get());
    auto text = std::async(std::launch::async, [this] { return drain(); });
    constexpr int written = 20'000;
    for (int i = 0; i < written; ++i) {
        log->write(numbered(i));
    }
    log.reset();
    pipe.writeEnd.reset();
    EXPECT_EQ(linesOf(text.get()).size(), static_cast<std::size_t>(written));
}

TEST_F(PipeLogTest, sleepsWhileThereIsNothingToWrite) {
    const auto known = threadIds();
    const StderrLog other({}, pipe.writeEnd.get());
    const auto thread = waitForThreadNamed("log", known);
    ASSERT_TRUE(thread);
    ASSERT_TRUE(waitUntilAsleep(*thread));
    const auto switches = contextSwitches(*thread);
    std::this_thread::sleep_for(std::chrono::milliseconds(200)); // nothing to wait for: that is it
    EXPECT_EQ(contextSwitches(*thread), switches);
}

TEST(StderrLog, writesToASocketWithoutBlocking) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const UniqueFd reader(ends[0]);
    UniqueFd writer(ends[1]);
    std::string text;
    std::thread reading([&] {
        std::array<char, 4096> buffer{};
        for (long count = 0; (count = ::read(reader.get(), buffer.data(), buffer.size())) > 0;) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
    });
    {
        StderrLog log({}, writer.get());
        for (int i = 0; i < 20'000; ++i) {
            log.write(numbered(i));
        }
    }
    writer.reset();
    reading.join();
    EXPECT_EQ(linesOf(text).size(), 20'000U);
}

TEST(StderrLog, aFullDeviceCostsLinesNotTime) {
    const UniqueFd full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
    const auto before = std::chrono::steady_clock::now();
    {
        StderrLog log({}, full.get());
        for (int i = 0; i < 10'000; ++i) {
            log.write(numbered(i));
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
}

TEST(StderrLog, aDescriptorThatIsNotOpenCostsLinesOnly) {
    StderrLog log({}, 1'000'000);
    log.write("lost");
}

TEST(StderrLog, aStoppedTerminalDoesNotHoldUpTheEnd) {
    const UniqueFd terminal(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_TRUE(terminal);
    ASSERT_EQ(::grantpt(terminal.get()), 0);
    ASSERT_EQ(::unlockpt(terminal.get()), 0);
    std::array<char, 64> name{};
    ASSERT_EQ(::ptsname_r(terminal.get(), name.data(), name.size()), 0);
    const UniqueFd user(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_TRUE(user);
    const auto before = std::chrono::steady_clock::now();
    {
        StderrLog log({}, user.get());
        for (int i = 0; i < 10'000; ++i) {
            log.write(numbered(i)); // nobody reads the other side
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
}

// While this lives, files of this process may not grow beyond the limit, and the signal that
// would say so is blocked.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        sigemptyset(&signal);
        sigaddset(&signal, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &signal, nullptr);
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit small{.rlim_cur = bytes, .rlim_max = before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before);
        const timespec none{};
        sigtimedwait(&signal, nullptr, &none);
        pthread_sigmask(SIG_UNBLOCK, &signal, nullptr);
    }

  private:
    sigset_t signal{};
    rlimit before{};
};

TEST(LogSink, saysHowManyLinesWereLostOnceWritingWorksAgain) {
    const test_support::TemporaryFolder folder;
    const auto file = openForAppending(folder / "log");
    LogSink sink(file.get(), "<6>");
    {
        const FileSizeLimit limit(25);
        sink.write("<6>line one\n<6>line two\n<6>line three\n<6>line four\n");
        sink.write("<6>line five\n");
    }

    sink.write("<6>line six\n");

    EXPECT_THAT(
        linesOf(readText(folder / "log")),
        ElementsAre("<6>line one", "<6>line two", "<", "<6>3 log lines dropped", "<6>line six"));
}

TEST(LogSink, endsALineThatWasCutOffBeforeItGoesOn) {
    const test_support::TemporaryFolder folder;
    const auto file = openForAppending(folder / "log");
    LogSink sink(file.get(), "");
    {
        const FileSizeLimit limit(3);
        sink.write("one\n");
    }
    sink.write("two\n");
    EXPECT_THAT(linesOf(readText(folder / "log")),
                ElementsAre("one", "1 log lines dropped", "two"));
}

} // namespace
