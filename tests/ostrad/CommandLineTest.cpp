#include "tests/ostrad/RawClient.h"
#include "tests/ostrad/ServerProcess.h"
#include "tests/ostrad/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#ifdef __linux__
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#endif

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <thread>

namespace ostrad::test {
namespace {

Finished run(const std::vector<std::string>& arguments) {
    return runToEnd(OSTRAD_EXECUTABLE, arguments);
}

void expectOneSentence(const Finished& finished, int status) {
    EXPECT_EQ(finished.status, status) << finished.output;
    EXPECT_TRUE(finished.output.starts_with("ostrad: ")) << finished.output;
    EXPECT_EQ(std::ranges::count(finished.output, '\n'), 1) << finished.output;
}

TEST(CommandLine, printsABareVersion) {
    const Finished finished = run({"-version"});
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.output, std::string(OSTRAD_VERSION) + "\n");
}

TEST(CommandLine, printsItsFlags) {
    const Finished finished = run({"-help"});
    EXPECT_EQ(finished.status, 0);
    for (const char* flag : {"-addr", "-db", "-plugins", "-ffmpeg", "-ffprobe", "-fpcalc"}) {
        EXPECT_NE(finished.output.find(flag), std::string::npos) << flag;
    }
}

TEST(CommandLine, answersAWrongOneWithStatusTwo) {
    expectOneSentence(run({}), 2);
    expectOneSentence(run({"-db"}), 2);
    expectOneSentence(run({"-db", "/tmp/x", "-what"}), 2);
    expectOneSentence(run({"-db", "/tmp/x", "-addr", "0.0.0.0:0"}), 2);
    expectOneSentence(run({"-db", "/tmp/x", "-addr", "127.0.0.1:99999"}), 2);
}

TEST(CommandLine, answersAnUnusableDatabaseWithStatusOne) {
    const TempFolder temp;
    const auto serve = [](const std::string& db) {
        return run({"-addr", "127.0.0.1:0", "-db", db});
    };
    expectOneSentence(serve(temp.path("no/such/folder/db")), 1);
    expectOneSentence(serve(temp.makeFolder("folder")), 1);
    expectOneSentence(serve(temp.write("text", std::string(10'000, 'x'))), 1);
    expectOneSentence(serve("/proc/version"), 1);
}

TEST(CommandLine, answersATakenPortWithStatusOne) {
    const TempFolder temp;
    ServerProcess first(OSTRAD_EXECUTABLE, {"-addr", "127.0.0.1:0", "-db", temp.path("a")});
    const std::string address = "127.0.0.1:" + std::to_string(first.waitForPort());
    expectOneSentence(run({"-addr", address, "-db", temp.path("b")}), 1);
}

TEST(CommandLine, repeatsTheNonceItWasStartedWith) {
    const TempFolder temp;
    ServerProcess server(OSTRAD_EXECUTABLE, {"-addr=127.0.0.1:0", "-db=" + temp.path("db")},
                         {{"MEDIASERVER_HEALTH_NONCE", "deadbeef01"}});
    const auto reply = exchange(server.waitForPort(), "GET", "/api/health");
    EXPECT_EQ(reply.status, 200);
    EXPECT_NE(reply.body.find("\"nonce\":\"deadbeef01\""), std::string::npos);
    server.signal(SIGTERM);
    EXPECT_EQ(server.wait(), 0);
    EXPECT_EQ(server.readOutput().find("deadbeef01"), std::string::npos);
}

TEST(CommandLine, hasNoNonceToRepeatWithoutOne) {
    const TempFolder temp;
    ServerProcess server(OSTRAD_EXECUTABLE, {"-addr", "localhost:0", "-db", temp.path("db")},
                         {{"MEDIASERVER_HEALTH_NONCE", ""}});
    EXPECT_EQ(exchange(server.waitForPort(), "GET", "/api/health").body, R"({"status":"ok"})");
}

TEST(CommandLine, goesOnWithoutToolsThatAreNotThere) {
    const TempFolder temp;
    ServerProcess server(OSTRAD_EXECUTABLE,
                         {"-addr", "127.0.0.1:0", "-db", temp.path("db"), "-ffmpeg",
                          temp.path("none"), "-plugins", temp.path("none")});
    EXPECT_EQ(exchange(server.waitForPort(), "GET", "/api/health").status, 200);
}

#ifdef __linux__
// From now on this thread, and whom it starts, is on a system that filters no system calls.
bool forgetFilters() {
    std::array<sock_filter, 7> program{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_seccomp, 3, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_prctl, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, PR_SET_SECCOMP, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EINVAL),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog filter{.len = program.size(), .filter = program.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

TEST(CommandLine, saysWhereToolsCannotBeConfined) {
    const TempFolder temp;
    const std::string tool = temp.writeProgram("tool", "exit 1");
    const auto says = [&temp](std::vector<std::string> more) {
        more.insert(more.end(), {"-addr", "127.0.0.1:0", "-db", temp.path("db")});
        ServerProcess server(OSTRAD_EXECUTABLE, more);
        EXPECT_EQ(exchange(server.waitForPort(), "GET", "/api/health").status, 200);
        server.signal(SIGTERM);
        EXPECT_EQ(server.wait(), 0);
        return server.readOutput().find("cannot keep tools from the network") != std::string::npos;
    };
    EXPECT_FALSE(says({"-ffprobe", tool}));
    std::thread elsewhere([&] {
        ASSERT_TRUE(forgetFilters());
        EXPECT_TRUE(says({"-ffprobe", tool}));
        EXPECT_FALSE(says({})) << "there are no tools";
    });
    elsewhere.join();
}
#endif

TEST(CommandLine, keepsItsFilesToTheUser) {
    const TempFolder temp;
    ServerProcess server(OSTRAD_EXECUTABLE, {"-addr", "127.0.0.1:0", "-db", temp.path("db")},
                         {{"MEDIASERVER_ARTWORK_DIR", temp.path("deep/art")}});
    exchange(server.waitForPort(), "GET", "/api/health");
    struct stat status{};
    ASSERT_EQ(::stat(temp.path("db").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    ASSERT_EQ(::stat(temp.path("deep/art").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700U);
}

} // namespace
} // namespace ostrad::test
