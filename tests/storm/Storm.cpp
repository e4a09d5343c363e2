#include "tests/storm/Storm.h"

#include "tests/desktop/session/ServerRequest.h"
#include "tests/desktop/session/Waiting.h"
#include "tests/support/testchild/TestChild.h"

#include <fmt/format.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <regex>

namespace storm {

Storm::Storm(Scale scale, unsigned seed)
    : scale_(scale)
    , random_(seed) {
    session_.environment["OSTRA_SIDECAR"] = testchild::path();
    session_.environment["ZORVANE_TESTCHILD"] = "health=ok";
}

void Storm::say(const std::string& line) const {
    fmt::print("{}\n", line);
    std::fflush(stdout);
}

void Storm::wrong(const std::string& what) {
    ++faults_;
    say("WRONG: " + what);
    session_.keepEvidence(ZORVANE_FAILURES_DIR, fmt::format("storm-{}-{}", ::getpid(), faults_));
}

int Storm::between(int least, int most) {
    return std::uniform_int_distribution(least, most)(random_);
}

std::unique_ptr<desktop::Program> Storm::start(const std::string& shell) {
    for (const char* output : {"application.out", "application.err"}) {
        std::filesystem::remove(session_.folder() / output); // nobody shall read the last one's
    }
    return session_.start({"/bin/sh", "-c", shell + "; exec \"$0\"", ZORVANE_APPLICATION},
                          "application");
}

std::optional<std::chrono::duration<double>> Storm::untilNothingIsLeft(const std::string& where) {
    const auto begin = std::chrono::steady_clock::now();
    const std::chrono::seconds limit(scale_.isShort ? 30 : 8);
    if (desktop::eventually([this] { return left().empty(); }, limit)) {
        return std::chrono::steady_clock::now() - begin;
    }
    wrong(where + " left behind:\n" + desktop::describe(left()));
    for (const desktop::Process& process : left()) {
        ::kill(process.pid, SIGKILL);
    }
    (void)desktop::eventually([this] { return left().empty(); });
    return std::nullopt;
}

void Storm::quit(desktop::Program& application, const std::string& where) {
    application.signal(SIGTERM);
    const auto status = application.waitForExit(desktop::patience);
    if (status != 0) {
        wrong(fmt::format("{}: ended with {}", where, status ? std::to_string(*status) : "a hang"));
    }
    if (!status) {
        application.signal(SIGKILL);
        (void)application.waitForExit(desktop::patience);
    }
    untilNothingIsLeft(where);
}

std::optional<int> portIn(const std::string& log) {
    static const std::regex launch(R"(ostrad spawned \(pid \d+\) on 127\.0\.0\.1:(\d+), )");
    std::optional<int> port;
    for (std::sregex_iterator match(log.begin(), log.end(), launch), end; match != end; ++match) {
        port = std::stoi((*match)[1]);
    }
    return port;
}

bool isServed(const std::string& log) {
    const auto port = portIn(log);
    return port && desktop::ask(*port, {.path = "/api/health"}).contains("\"nonce\":\"");
}

} // namespace storm
