// Every facility the supervisor takes, for real: child processes with their guardian, sockets,
// HTTP, files below a temporary folder, random bytes: what is left of a server is told by its
// nonce, also beside other tests. Time runs faster by a factor; defaults and the bundle are fakes.
// The thread that makes the object is the main thread.
#pragma once

#include "mac/Zorvane/ServerSupervisor.h"
#include "platform/RandomSource.h"
#include "platform/posix/CurlHttpClient.h"
#include "platform/posix/PosixChildLauncher.h"
#include "platform/posix/PosixCommandRunner.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixLoopbackPorts.h"
#include "platform/testing/InMemorySystem.h"
#include "tests/support/fasttime/FastTime.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <memory>

namespace test_support {

struct RealSystem {
    explicit RealSystem(int timeFactor)
        : time(timeFactor) {}

    TemporaryFolder folder;
    FastTime time;
    platform::PosixChildLauncher launcher{ZORVANE_GUARDIAN_PATH};
    platform::PosixCommandRunner commands;
    platform::CurlHttpClient http;
    platform::PosixLoopbackPorts ports;
    std::unique_ptr<platform::RandomSource> random = platform::makeRandomSource();
    platform::PosixFileSystem files{folder / "support"};
    platform::testing::InMemoryDefaults defaults;
    platform::testing::FakeBundle bundle;

    [[nodiscard]] zorvane::ServerSupervisor::Facilities supervisorFacilities(platform::Log& log) {
        return {.mainQueue = time.mainQueue(),
                .backgroundQueues = time.backgroundQueues(),
                .clock = time.clock(),
                .launcher = launcher,
                .http = http,
                .ports = ports,
                .random = *random,
                .defaults = defaults,
                .bundle = bundle,
                .commands = commands,
                .files = files,
                .log = log};
    }
};

} // namespace test_support
