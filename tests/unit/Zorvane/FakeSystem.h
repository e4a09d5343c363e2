// Every facility the supervisor takes, as fakes that share one manual scheduler, with a server in
// the bundle. A fixture derives from it and sets what its test is about.
#pragma once

#include "mac/Zorvane/ServerSupervisor.h"
#include "platform/testing/FakeChildLauncher.h"
#include "platform/testing/InMemorySystem.h"
#include "platform/testing/ManualScheduler.h"
#include "platform/testing/ScriptedHttpClient.h"

#include <chrono>
#include <string>

namespace zorvane {

struct FakeSystem {
    platform::testing::ManualScheduler scheduler;
    platform::testing::FakeChildLauncher launcher{scheduler};
    platform::testing::ScriptedHttpClient http{scheduler};
    platform::testing::FakeLoopbackPorts ports;
    platform::testing::FakeRandomSource random;
    platform::testing::InMemoryDefaults defaults;
    platform::testing::FakeBundle bundle;
    platform::testing::FakeCommandRunner commands;
    platform::testing::InMemoryFiles files;
    platform::testing::RecordingLog log;

    FakeSystem() {
        bundle.auxiliaryExecutables.insert("ostrad");
        files.modes["/Apps/Zorvane.app/Contents/MacOS/ostrad"] = 0755;
    }

    [[nodiscard]] ServerSupervisor::Facilities supervisorFacilities() {
        return {.mainQueue = scheduler.mainQueue(),
                .backgroundQueues = scheduler.backgroundQueues(),
                .clock = scheduler.clock(),
                .launcher = launcher,
                .http = http,
                .ports = ports,
                .random = random,
                .defaults = defaults,
                .bundle = bundle,
                .commands = commands,
                .files = files,
                .log = log};
    }

    // The nonce of the newest child.
    [[nodiscard]] std::string nonce() const {
        return launcher.last()->options().environment.at("MEDIASERVER_HEALTH_NONCE");
    }
    // From now on health requests are answered as by our own server, so much later.
    void serveHealth(std::chrono::milliseconds after = {}) {
        http.script = [this, after](const platform::HttpRequest&) {
            return platform::testing::ScriptedHttpClient::Answer{
                platform::HttpResponse{200, {}, R"({"status":"ok","nonce":")" + nonce() + R"("})"},
                after};
        };
    }
};

} // namespace zorvane
