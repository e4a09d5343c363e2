// What a child finds when it starts, and what a launch that fails leaves behind: nothing.
#include "tests/platform/process/ChildFixture.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <thread>

namespace process_test {
namespace {

using platform::posix::UniqueFd;
using testing::HasSubstr;

// A file of the test's own, gone with the object.
class TemporaryFile {
  public:
    TemporaryFile(const std::string& content, mode_t mode) {
        std::string name = testing::TempDir() + "process_test_XXXXXX";
        const UniqueFd file(::mkstemp(name.data()));
        EXPECT_EQ(::write(file.get(), content.data(), content.size()), std::ssize(content));
        EXPECT_EQ(::fchmod(file.get(), mode), 0);
        where = name;
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { std::filesystem::remove(where); }
    [[nodiscard]] const std::filesystem::path& path() const { return where; }

  private:
    std::filesystem::path where;
};

TEST_F(ChildTest, seesOnlyItsStandardDescriptorsThoughTheParentHasHundredsOpen) {
    std::vector<UniqueFd> open;
    open.reserve(500);
    for (int index = 0; index < 500; ++index) {
        open.emplace_back(::open("/dev/null", O_RDONLY)); // inheritable on purpose
    }
    // Above whatever the launch itself opens.
    open.emplace_back(::fcntl(open.front().get(), F_DUPFD, 900));
    EXPECT_EQ(outputOf(testChild({"descriptors"})), "descriptors 0 1 2\n");
}

TEST_F(ChildTest, getsStandardDescriptorsThoughTheParentHasNone) {
    std::array<UniqueFd, 3> saved;
    for (int descriptor = 0; descriptor < 3; ++descriptor) {
        auto& copy = saved[static_cast<std::size_t>(descriptor)];
        copy.reset(::fcntl(descriptor, F_DUPFD_CLOEXEC, 100));
        ::close(descriptor);
    }
    auto options = testChild({"descriptors", "error=complaint"}, recorder);
    const auto child = launcher->launch(std::move(options));
    for (int descriptor = 0; descriptor < 3; ++descriptor) {
        ::dup2(saved[static_cast<std::size_t>(descriptor)].get(), descriptor);
    }
    ASSERT_TRUE(child.has_value());
    EXPECT_EQ(recorder.exit(), exitedWith(0));
    EXPECT_EQ(recorder.output(), "descriptors 0 1 2\ncomplaint\n");
}

TEST_F(ChildTest, readsNothingFromItsStandardInput) {
    auto options = testChild({});
    options.executable = "/bin/cat";
    EXPECT_EQ(outputOf(std::move(options)), "");
    EXPECT_EQ(recorder.exit(), exitedWith(0));
}

TEST_F(ChildTest, hasDefaultDispositionsAndAnEmptyMaskThoughTheParentIgnoresAndBlocks) {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    struct sigaction pipeBefore = {};
    struct sigaction interruptBefore = {};
    ::sigaction(SIGPIPE, &ignore, &pipeBefore);
    ::sigaction(SIGINT, &ignore, &interruptBefore);
    sigset_t blocked;
    sigset_t maskBefore;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGCHLD);
#ifdef SIGRTMIN
    sigaddset(&blocked, SIGRTMIN);
#endif
    ::pthread_sigmask(SIG_BLOCK, &blocked, &maskBefore);

    const auto output = outputOf(testChild({"signals", "mask"}));

    sigset_t maskAfter;
    ::pthread_sigmask(SIG_SETMASK, &maskBefore, &maskAfter);
    ::sigaction(SIGPIPE, &pipeBefore, nullptr);
    ::sigaction(SIGINT, &interruptBefore, nullptr);
    EXPECT_EQ(output, "signals\nmask\n");
    EXPECT_EQ(sigismember(&maskAfter, SIGTERM), 1) << "the parent's own mask is as it was";
    EXPECT_EQ(sigismember(&maskAfter, SIGUSR1), sigismember(&maskBefore, SIGUSR1));
}

TEST_F(ChildTest, leadsAProcessGroupOfItsOwn) {
    const auto child = launch(testChild({"group"}, recorder));
    EXPECT_EQ(recorder.exit(), exitedWith(0));
    EXPECT_EQ(recorder.output(), "group " + std::to_string(child->pid()) + " own\n");
}

TEST_F(ChildTest, inheritsTheFileCreationMaskAndTheWorkingDirectory) {
    const mode_t before = ::umask(077);
    const auto output = outputOf(testChild({"umask", "directory"}));
    ::umask(before);
    EXPECT_EQ(output, "umask 63\ndirectory " + std::filesystem::current_path().native() + '\n');
}

TEST_F(ChildTest, getsExactlyTheArgumentsItWasGiven) {
    const auto output =
        outputOf(testChild({"arguments", "print=two words", "print=", "print=\xff"}));
    EXPECT_EQ(output, "argument " + testchild::path().native() +
                          "\nargument arguments\nargument print=two words\nargument print=\n"
                          "argument print=\xff\ntwo words\n\n\xff\n");
}

TEST_F(ChildTest, getsExactlyTheEnvironmentItWasGiven) {
    ::setenv("PROCESS_TEST_OF_THE_PARENT", "1", 1);
    auto options = testChild({"environment"});
    options.environment = {{"A", "1"}, {"B", "two words=2"}, {"EMPTY", ""}};
    EXPECT_EQ(outputOf(std::move(options)),
              "environment A=1\nenvironment B=two words=2\nenvironment EMPTY=\n");
}

TEST_F(ChildTest, writesToTheNullDeviceWhenNobodyListens) {
    auto options = testChild({"flood=1000000:1000", "flood-error=1000000:1000", "exit=4"});
    options.onExit = recorder.onExit();
    const auto child = launch(std::move(options));
    EXPECT_EQ(recorder.exit(), exitedWith(4));
}

TEST_F(ChildTest, outlivesTheThreadThatLaunchedIt) {
    std::shared_ptr<platform::ChildProcess> child;
    std::thread([&] { child = launch(testChild({"ready", "hang"}, recorder)); }).join();
    EXPECT_TRUE(recorder.says("ready"));
    EXPECT_FALSE(child->waitForExit(std::chrono::milliseconds(50)));
    child->terminate();
    EXPECT_EQ(recorder.exit(), killedBy(SIGTERM));
}

// The launches that fail.

class FailingLaunch : public ChildTest {
  protected:
    void SetUp() override {
        // The internal thread and its descriptors come with the first launch, failed or not.
        std::ignore = launcher->launch({.executable = "/nonexistent/program"});
        descriptorsBefore = openDescriptors();
    }

    void TearDown() override {
        EXPECT_EQ(openDescriptors(), descriptorsBefore);
        EXPECT_FALSE(hasChildren());
        EXPECT_EQ(recorder.exits(), 0);
        EXPECT_EQ(recorder.output(), "");
    }

    platform::LaunchError errorOf(platform::ChildOptions options) {
        options.onOutput = recorder.onOutput();
        options.onExit = recorder.onExit();
        const auto child = launcher->launch(std::move(options));
        EXPECT_FALSE(child.has_value());
        return child ? platform::LaunchError{} : child.error();
    }

    static platform::ChildOptions program(std::filesystem::path executable) {
        auto options = testChild({});
        options.executable = std::move(executable);
        return options;
    }

  private:
    std::size_t descriptorsBefore = 0;
};

TEST_F(FailingLaunch, saysThatTheExecutableIsMissing) {
    const auto error = errorOf(program("/nonexistent/program"));
    EXPECT_EQ(error.attempt, "cannot start /nonexistent/program");
    EXPECT_EQ(error.errnoValue, ENOENT);
    EXPECT_EQ(error.description(), "cannot start /nonexistent/program: No such file or directory");
}

TEST_F(FailingLaunch, saysThatTheFileIsNotExecutable) {
    const TemporaryFile file("no program", 0600);
    EXPECT_EQ(errorOf(program(file.path())).errnoValue, EACCES);
}

TEST_F(FailingLaunch, saysThatTheFileIsNoProgram) {
    const TemporaryFile file("no program", 0700);
    EXPECT_EQ(errorOf(program(file.path())).errnoValue, ENOEXEC);
}

TEST_F(FailingLaunch, saysThatTheExecutableIsAFolder) {
    EXPECT_EQ(errorOf(program("/")).errnoValue, EACCES);
}

TEST_F(FailingLaunch, refusesStringsThatCannotBePassedOn) {
    using namespace std::string_literals;
    EXPECT_EQ(errorOf(program("/bin/tr\0ue"s)).errnoValue, EINVAL);
    EXPECT_EQ(errorOf(testChild({"print=a\0b"s})).errnoValue, EINVAL);
    for (const auto& name : {"A\0B"s, "A=B"s, ""s}) {
        auto options = testChild({});
        options.environment = {{name, "1"}};
        EXPECT_EQ(errorOf(std::move(options)).errnoValue, EINVAL);
    }
}

TEST_F(FailingLaunch, saysThatTheArgumentsAreTooLong) {
    EXPECT_EQ(errorOf(testChild({std::string(16 << 20, 'x')})).errnoValue, E2BIG);
}

TEST_F(FailingLaunch, leavesNothingBehindHoweverFewDescriptorsAreLeft) {
    struct rlimit before = {};
    ::getrlimit(RLIMIT_NOFILE, &before);
    int failures = 0;
    for (rlim_t limit = 3; limit < 64; ++limit) {
        const struct rlimit few = {.rlim_cur = limit, .rlim_max = before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
        auto options = testChild({"hang"});
        options.onOutput = [](std::string_view) {};
        const auto child = launcher->launch(std::move(options));
        ::setrlimit(RLIMIT_NOFILE, &before);
        if (child) {
            (*child)->kill();
            break;
        }
        EXPECT_EQ(child.error().errnoValue, EMFILE);
        ++failures;
    }
    EXPECT_GT(failures, 0);
    EXPECT_LT(failures, 61);
    launcher = std::make_unique<platform::PosixChildLauncher>(
        ZORVANE_GUARDIAN_PATH); // reaps the one that was started
    std::ignore = errorOf(program("/nonexistent/program"));
}

TEST_F(FailingLaunch, saysThatTheGuardianIsMissingAndStartsNoChild) {
    launcher = std::make_unique<platform::PosixChildLauncher>("/nonexistent/guardian");
    std::ignore = errorOf(program("/nonexistent/program"));
    auto options = testChild({"print=never"});
    const auto error = errorOf(std::move(options));
    EXPECT_EQ(error.description(),
              "cannot start the guardian /nonexistent/guardian: No such file or directory");
}

TEST(ChildLauncher, saysThatTheSystemHasNoThreadForAChild) {
    const pid_t other = ::fork();
    if (other == 0) {
        // As somebody whom the limit binds and who has no process but this one.
        constexpr uid_t nobodyElse = 64998;
        const struct rlimit few = {.rlim_cur = 1, .rlim_max = 1};
        if ((::geteuid() == 0 && ::setuid(nobodyElse) != 0) ||
            ::setrlimit(RLIMIT_NPROC, &few) != 0) {
            ::_exit(2);
        }
        platform::PosixChildLauncher launcher(ZORVANE_GUARDIAN_PATH);
        const auto child = launcher.launch({.executable = "/bin/true"});
        ::_exit(!child && child.error().attempt == "cannot start /bin/true" &&
                        child.error().errnoValue == EAGAIN
                    ? 0
                    : 1);
    }
    int status = 0;
    ::waitpid(other, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(FailingLaunch, namesTheExecutableAndNotItsGuardian) {
    auto options = program("/nonexistent/program");
    EXPECT_THAT(errorOf(std::move(options)).description(), HasSubstr("/nonexistent/program: "));
}

} // namespace
} // namespace process_test
