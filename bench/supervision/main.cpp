// How fast a child's output is drained, as the supervisor wires it up, and how long after the
// server is ready the supervisor knows it.
#include "mac/OstraCore/OutputLines.h"
#include "mac/Zorvane/HealthLoop.h"
#include "mac/Zorvane/ServerSupervisor.h"
#include "platform/posix/PosixChildLauncher.h"
#include "platform/posix/StderrLog.h"
#include "tests/support/realsystem/RealSystem.h"
#include "tests/support/testchild/TestChild.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void splitLines(benchmark::State& state) {
    std::string piece;
    while (piece.size() < std::size_t{256} * 1024) {
        piece += std::string(99, 'x') + '\n';
    }
    std::size_t lines = 0;
    ostra::OutputLines output(
        [&](std::span<const std::string_view> some) { lines += some.size(); });
    for (auto _ : state) {
        output.append(piece);
    }
    benchmark::DoNotOptimize(lines);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(piece.size()));
}
BENCHMARK(splitLines);

// Child, pipe, line splitting, prefix and log, to /dev/null: the whole way of a flood.
void drain(benchmark::State& state, const char* cue) {
    constexpr std::int64_t bytes = std::int64_t{1} << 30;
    const int sink = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    platform::PosixChildLauncher launcher{ZORVANE_GUARDIAN_PATH};
    for (auto _ : state) {
        platform::StderrLog log({}, sink);
        std::promise<void> exited;
        platform::ChildOptions options;
        options.executable = testchild::path();
        options.arguments = {fmt::format(fmt::runtime(cue), bytes)};
        ostra::OutputLines lines(
            [&](std::span<const std::string_view> some) { log.writeLines("[ostrad] ", some); });
        options.onOutput = [&](std::string_view piece) { lines.append(piece); };
        options.onExit = [&](platform::ExitStatus) { exited.set_value(); };
        options.guardianGrace = 6s;
        const auto start = Clock::now();
        const auto child = launcher.launch(std::move(options));
        exited.get_future().wait();
        state.SetIterationTime(secondsSince(start));
    }
    ::close(sink);
    state.SetBytesProcessed(state.iterations() * bytes);
}
void drainChild(benchmark::State& state) {
    drain(state, "flood={}:65536");
}
BENCHMARK(drainChild)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
void drainLinesOfOneByte(benchmark::State& state) {
    drain(state, "flood-lines={}:1");
}
BENCHMARK(drainLinesOfOneByte)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

using Facilities = test_support::RealSystem;

// From launching the bundled server to its first right health reply, asked every millisecond.
double serversOwnReadiness(Facilities& system) {
    const auto port = system.ports.tryBind(0).value();
    platform::ChildOptions options;
    options.executable = ZORVANE_OSTRAD_PATH;
    options.environment = platform::currentEnvironment();
    options.environment["MEDIASERVER_HEALTH_NONCE"] = "abc";
    options.arguments = {"-addr", fmt::format("127.0.0.1:{}", port), "-db",
                         system.folder / "alone.db"};
    const auto start = Clock::now();
    const auto child = system.launcher.launch(std::move(options));
    for (bool healthy = false; !healthy;) {
        std::promise<bool> answer;
        platform::HttpRequest request;
        request.url = fmt::format("http://127.0.0.1:{}/api/health", port);
        system.http.send(std::move(request), [&](const platform::HttpResult& reply) {
            answer.set_value(zorvane::isHealthyReply(reply, "abc"));
        });
        healthy = answer.get_future().get();
        if (!healthy) {
            std::this_thread::sleep_for(1ms);
        }
    }
    return secondsSince(start);
}

double supervisorsReadiness(Facilities& system) {
    platform::testing::RecordingLog log;
    auto environment = platform::currentEnvironment();
    environment["OSTRA_SIDECAR"] = ZORVANE_OSTRAD_PATH;
    const auto supervisor =
        zorvane::ServerSupervisor::create(system.supervisorFacilities(log), std::move(environment));
    double running = 0;
    supervisor->onStateChange = [&, start = Clock::now()](const auto& newState) {
        if (std::holds_alternative<zorvane::ServerSupervisor::Running>(newState)) {
            running = secondsSince(start);
        }
    };
    supervisor->start();
    if (!system.time.runUntil([&] { return running > 0; })) {
        throw std::runtime_error("the server never became healthy");
    }
    supervisor->stopSync();
    return running;
}

void runningBeyondReadiness(benchmark::State& state) {
    for (auto _ : state) {
        Facilities system(1);
        const double alone = serversOwnReadiness(system);
        const double supervised = supervisorsReadiness(system);
        state.SetIterationTime(supervised);
        state.counters["server_alone_ms"] = benchmark::Counter(alone * 1e3);
        state.counters["beyond_ms"] = benchmark::Counter((supervised - alone) * 1e3);
    }
}
BENCHMARK(runningBeyondReadiness)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly()
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
