// Keeps exactly one `ostrad` child alive for the application: finds it, chooses its port and
// nonce, launches it, asks for its health until it echoes the nonce, starts it again after an
// unexpected exit, at most once in ten seconds, and stops it with SIGTERM and, six seconds later,
// SIGKILL. Every change of state is reported through one callback. Created once by the application
// delegate; lives as long as the application. Main thread only: the public operations check this
// and trap. The facilities outlive the supervisor.
#pragma once

#include "mac/Zorvane/HealthLoop.h"
#include "mac/Zorvane/SidecarResolver.h"
#include "platform/ChildProcess.h"
#include "platform/Clock.h"
#include "platform/Environment.h"
#include "platform/HttpClient.h"
#include "platform/LoopbackPorts.h"
#include "platform/Queues.h"
#include "platform/RandomSource.h"
#include "platform/UserDefaults.h"

#include <chrono>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zorvane {

class ServerSupervisor : public std::enable_shared_from_this<ServerSupervisor> {
  public:
    struct Stopped {
        bool operator==(const Stopped&) const = default;
    };
    struct Starting {
        bool operator==(const Starting&) const = default;
    };
    struct Running {
        std::uint16_t port = 0;
        bool operator==(const Running&) const = default;
    };
    struct Failed {
        std::string reason; // fit for a user
        bool operator==(const Failed&) const = default;
    };
    using State = std::variant<Stopped, Starting, Running, Failed>;

    struct Facilities {
        platform::MainQueue& mainQueue;
        platform::BackgroundQueues& backgroundQueues;
        platform::Clock& clock;
        platform::ChildLauncher& launcher;
        platform::HttpClient& http;
        platform::LoopbackPorts& ports;
        platform::RandomSource& random;
        platform::UserDefaults& defaults;
        platform::Bundle& bundle;
        platform::CommandRunner& commands;
        platform::FileSystem& files;
        platform::Log& log;
    };

    static constexpr std::chrono::seconds restartThrottle{10}; // between launches after an exit
    // Whoever ends everything at once ends the server a moment before us: an exit that may be the
    // answer to a SIGTERM is not followed by a new server before our own can have arrived. Within
    // the throttle this costs nothing.
    static constexpr std::chrono::milliseconds momentAfterTermination{250};
    static constexpr int healthTries = 40; // per launch
    static constexpr std::chrono::milliseconds healthInterval{500};
    static constexpr std::chrono::seconds stopGrace{6}; // between SIGTERM and SIGKILL

    // The environment is what the child inherits, with our own variables added.
    [[nodiscard]] static std::shared_ptr<ServerSupervisor>
    create(const Facilities& facilities, platform::Environment environment);

    // A child that still runs is killed.
    ~ServerSupervisor();
    ServerSupervisor(const ServerSupervisor&) = delete;
    ServerSupervisor& operator=(const ServerSupervisor&) = delete;

    // Called with every new state, on the main thread.
    std::function<void(const State&)> onStateChange;

    [[nodiscard]] const State& state() const { return state_; }

    // Launches a child; what comes of it arrives through onStateChange. A child that is still held
    // is killed: callers stop first.
    void start();
    // Stops the child. The completion runs on the main thread once no child is left: each was
    // reaped and has taken what it started with it. At once when there is none.
    void stop(std::function<void()> completion = {});
    // The same, blocking the caller until every child has exited or been killed; neither the state
    // nor the callback is touched. For the end of the application.
    void stopSync();
    // Stops, then starts. Of several restarts under way only the last one starts a child.
    void restart();

  private:
    using Child = std::shared_ptr<platform::ChildProcess>;
    struct Ending {
        std::int64_t generation = 0; // of the launch
        Child child;
    };
    struct DataDirectories {
        std::filesystem::path db;
        std::filesystem::path plugins;
        std::filesystem::path artwork;
    };
    struct Launch {
        Child child;
        std::uint16_t port = 0;
        std::string nonce;
        DataDirectories data;
    };

    ServerSupervisor(const Facilities& facilities, platform::Environment environment);

    void checkMainThread() const;
    void advanceGeneration();
    void cancelHealthLoop();
    void setState(State state);
    void launchFailed(const std::string& reason);
    [[nodiscard]] std::expected<Launch, std::string>
    launch(const std::filesystem::path& executable);
    [[nodiscard]] std::expected<DataDirectories, std::string> ensureDataDirectories();
    [[nodiscard]] platform::ChildOptions childOptions(const std::filesystem::path& executable,
                                                      const Launch& launch);
    void pollHealth(std::uint16_t port, const std::string& nonce, std::int64_t generation);
    void healthEnded(bool healthy, std::uint16_t port, std::int64_t generation);
    void handleTermination(std::int64_t generation, platform::ExitStatus status);
    [[nodiscard]] Child takeProcess();
    void endingCompleted(std::int64_t generation);

    Facilities facilities_;
    platform::Environment environment_;
    SidecarResolver resolver_;

    State state_ = Stopped{};
    Child process_;
    std::int64_t processGeneration_ = 0; // of the launch of process_
    std::shared_ptr<HealthLoop> healthLoop_;
    platform::SteadyTime lastStart_ = platform::SteadyTime::min();
    bool stopping_ = false;
    // Captured by every continuation, which does nothing once the current value differs.
    std::int64_t generation_ = 0;
    // Children that were asked to stop and have not ended yet, and who waits for that.
    std::vector<Ending> ending_;
    std::vector<std::function<void()>> endWaiters_;
};

} // namespace zorvane
