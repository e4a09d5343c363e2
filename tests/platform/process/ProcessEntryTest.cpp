// A program that was started by somebody who ignores, blocks and limits what it can.
#include "platform/posix/ProcessEntry.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace process_test {
namespace {

using platform::posix::putInheritanceRight;

// Runs in a process of its own; what it returns is the exit code.
template <typename Body>
int exitCodeOf(Body body) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(body());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void ignoreAndBlock(int signal) {
    struct sigaction action = {};
    action.sa_handler = SIG_IGN;
    ::sigaction(signal, &action, nullptr);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, signal);
    ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
}

TEST(ProcessEntry, learnsHowItsChildrenEndThoughSigchldWasIgnored) {
    EXPECT_EQ(exitCodeOf([] {
                  ignoreAndBlock(SIGCHLD);
                  putInheritanceRight();
                  return exitCodeOf([] { return 7; });
              }),
              7);
}

TEST(ProcessEntry, isReachedBySigtermThoughItWasIgnoredAndBlocked) {
    EXPECT_EQ(exitCodeOf([] {
                  ignoreAndBlock(SIGTERM);
                  putInheritanceRight();
                  ::raise(SIGTERM);
                  return 0;
              }),
              -SIGTERM);
}

TEST(ProcessEntry, outlivesItsTerminalAsNohupWantsIt) {
    EXPECT_EQ(exitCodeOf([] {
                  ignoreAndBlock(SIGHUP);
                  putInheritanceRight();
                  ::raise(SIGHUP);
                  return 4;
              }),
              4);
}

TEST(ProcessEntry, keepsTheHandlersThatAreItsOwn) {
    EXPECT_EQ(exitCodeOf([] {
                  static_cast<void>(std::signal(SIGTERM, [](int) { ::_exit(5); }));
                  putInheritanceRight();
                  ::raise(SIGTERM);
                  return 0;
              }),
              5);
}

TEST(ProcessEntry, isToldByAnErrorThatAReaderIsGoneOrAFileMayNotGrow) {
    EXPECT_EQ(exitCodeOf([] {
                  putInheritanceRight();
                  ::raise(SIGPIPE);
                  ::raise(SIGXFSZ);
                  return 3;
              }),
              3);
}

TEST(ProcessEntry, mayHaveTheDescriptorsThatTheSystemGrants) {
    EXPECT_EQ(exitCodeOf([] {
                  struct rlimit limit = {.rlim_cur = 64, .rlim_max = 200};
                  ::setrlimit(RLIMIT_NOFILE, &limit);
                  putInheritanceRight();
                  ::getrlimit(RLIMIT_NOFILE, &limit);
                  return static_cast<int>(limit.rlim_cur);
              }),
              200);
}

TEST(ProcessEntry, letsNothingTakeThePlaceOfAClosedStandardStream) {
    EXPECT_EQ(exitCodeOf([] {
                  ::close(STDIN_FILENO);
                  ::close(STDERR_FILENO);
                  putInheritanceRight();
                  const bool taken = ::open("/", O_RDONLY) <= STDERR_FILENO;
                  return taken || ::write(STDERR_FILENO, "", 1) == 1 ? 1 : 0;
              }),
              0);
}

TEST(ProcessEntry, refusesToGoOnWithoutThreads) {
    EXPECT_EQ(exitCodeOf([] {
                  // As somebody whom the limit binds and who has no process but this one.
                  constexpr uid_t nobodyElse = 64999;
                  if (::geteuid() == 0 && ::setuid(nobodyElse) != 0) {
                      return 1;
                  }
                  const struct rlimit few = {.rlim_cur = 2, .rlim_max = 2};
                  ::setrlimit(RLIMIT_NPROC, &few);
                  try {
                      platform::posix::requireThreads();
                  } catch (const std::runtime_error&) {
                      return 4;
                  }
                  return 2;
              }),
              4);
}

TEST(ProcessEntry, goesOnWithThreads) {
    EXPECT_NO_THROW(platform::posix::requireThreads());
}

} // namespace
} // namespace process_test
