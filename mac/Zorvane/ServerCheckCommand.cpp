#include "mac/Zorvane/ServerCheckCommand.h"

#include "mac/OstraCore/SidecarConfig.h"
#include "mac/Zorvane/ServerCheck.h"
#include "mac/Zorvane/ServerReportText.h"
#include "platform/Environment.h"
#include "platform/Headless.h"
#include "platform/ServerFacilities.h"

#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <string_view>

namespace zorvane {
namespace {

volatile std::sig_atomic_t interruptions = 0;

void onInterrupt(int /*signal*/) {
    interruptions = 1;
}

int examine(const ServerCheckRequest& request) {
    const platform::Environment environment = platform::currentEnvironment();
    const platform::SystemClock clock;
    WaitingLoop loop(clock);
    const auto headless = platform::makeHeadlessPlatform(environment);
    const auto random = platform::makeRandomSource();
    const auto server = platform::makeServerFacilities(
        environment, "zorvane-guardian",
        [](std::string_view trouble) { fmt::print(stderr, "{}\n", trouble); });
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("zorvane-check-" + ostra::Nonce::make(*random));
    const ServerReport report =
        checkServer({.loop = loop,
                     .backgroundQueues = headless->backgroundQueues(),
                     .clock = headless->clock(),
                     .launcher = server->childLauncher(),
                     .commands = server->commandRunner(),
                     .http = headless->httpClient(),
                     .ports = server->loopbackPorts(),
                     .random = *random,
                     .bundle = server->bundle(),
                     .files = headless->fileSystem()},
                    environment, std::filesystem::absolute(request.executable), folder,
                    [] { return interruptions != 0; });
    fmt::print("{}", request.asJson ? reportJson(report) : reportTable(report));
    return report.passed() ? 0 : 1;
}

} // namespace

int runServerCheck(const ServerCheckRequest& request) {
    // The server and its folder do not stay behind when the user has had enough.
    for (const int signal : {SIGINT, SIGTERM}) {
        std::signal(signal, onInterrupt);
    }
    try {
        return examine(request);
    } catch (const std::exception& error) {
        fmt::print(stderr, "Zorvane cannot examine the server: {}\n", error.what());
        return 1;
    }
}

} // namespace zorvane
