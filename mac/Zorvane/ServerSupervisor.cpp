#include "mac/Zorvane/ServerSupervisor.h"

#include "mac/OstraCore/OutputLines.h"
#include "mac/OstraCore/ServerUrl.h"
#include "mac/OstraCore/SidecarConfig.h"
#include "mac/Tessel/Values/Precondition.h"
#include "mac/Zorvane/DataPaths.h"
#include "mac/Zorvane/WaitThenKill.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <limits>
#include <tuple>
#include <utility>

namespace zorvane {
namespace {

constexpr mode_t privateFolder = 0700;
constexpr mode_t privateFile = 0600;
constexpr mode_t privateMask = 0077;

// By the signal itself, or in an orderly way after it; 128 is what shells add to a signal's number.
bool mayHaveBeenTerminated(platform::ExitStatus status) {
    return status.signalled ? status.code == SIGTERM
                            : status.code == 0 || status.code == 128 + SIGTERM;
}

// The mask is a property of the process: put back on every way out of a launch.
class PrivateFileCreation {
  public:
    explicit PrivateFileCreation(platform::FileSystem& files)
        : files_(files)
        , old_(files.exchangeFileCreationMask(privateMask)) {}
    ~PrivateFileCreation() { files_.exchangeFileCreationMask(old_); }
    PrivateFileCreation(const PrivateFileCreation&) = delete;
    PrivateFileCreation& operator=(const PrivateFileCreation&) = delete;

  private:
    platform::FileSystem& files_;
    mode_t old_;
};

} // namespace

std::shared_ptr<ServerSupervisor> ServerSupervisor::create(const Facilities& facilities,
                                                           platform::Environment environment) {
    return std::shared_ptr<ServerSupervisor>(
        new ServerSupervisor(facilities, std::move(environment)));
}

ServerSupervisor::ServerSupervisor(const Facilities& facilities, platform::Environment environment)
    : facilities_(facilities)
    , environment_(std::move(environment))
    , resolver_({.bundle = facilities.bundle,
                 .commands = facilities.commands,
                 .files = facilities.files,
                 .log = facilities.log},
                environment_) {}

ServerSupervisor::~ServerSupervisor() {
    cancelHealthLoop();
}

void ServerSupervisor::checkMainThread() const {
    tessel::precondition(facilities_.mainQueue.isMainThread(),
                         "the server supervisor was called off the main thread");
}

void ServerSupervisor::advanceGeneration() {
    tessel::precondition(generation_ < std::numeric_limits<std::int64_t>::max(),
                         "the supervisor's generation counter overflowed");
    ++generation_;
    cancelHealthLoop();
}

// The result of an older launch's loop could only be stale: spare the port its requests.
void ServerSupervisor::cancelHealthLoop() {
    if (healthLoop_) {
        healthLoop_->cancel();
        healthLoop_.reset();
    }
}

void ServerSupervisor::setState(State state) {
    state_ = std::move(state);
    if (onStateChange) {
        onStateChange(state_);
    }
}

void ServerSupervisor::start() {
    checkMainThread();
    stopping_ = false;
    advanceGeneration();
    process_.reset();
    const std::int64_t generation = generation_;
    const auto executable = resolver_.resolveSidecar();
    if (!executable) {
        launchFailed("ostrad not found (set OSTRA_SIDECAR or bundle Contents/MacOS/ostrad)");
        return;
    }
    const PrivateFileCreation mask(facilities_.files);
    auto launched = launch(*executable);
    if (!launched) {
        launchFailed("failed to launch ostrad: " + launched.error());
        return;
    }
    process_ = launched->child;
    processGeneration_ = generation;
    facilities_.log.write(fmt::format("ostrad spawned (pid {}) on 127.0.0.1:{}, db {}, artwork {}",
                                      process_->pid(), launched->port, launched->data.db.string(),
                                      launched->data.artwork.string()));
    setState(Starting{});
    pollHealth(launched->port, launched->nonce, generation);
}

// The menu has room for the beginning of the reason only.
void ServerSupervisor::launchFailed(const std::string& reason) {
    facilities_.log.write(reason);
    setState(Failed{reason});
}

std::expected<ServerSupervisor::Launch, std::string>
ServerSupervisor::launch(const std::filesystem::path& executable) {
    const auto port = ostra::PortPicker::pickStablePort(facilities_.defaults, facilities_.ports);
    if (!port) {
        return std::unexpected(port.error().description());
    }
    Launch launch;
    launch.port = *port;
    launch.nonce = ostra::Nonce::make(facilities_.random);
    auto data = ensureDataDirectories();
    if (!data) {
        return std::unexpected(data.error());
    }
    launch.data = std::move(*data);
    platform::ChildOptions options = childOptions(executable, launch);
    lastStart_ = facilities_.clock.now();
    auto child = facilities_.launcher.launch(std::move(options));
    if (!child) {
        return std::unexpected(child.error().description());
    }
    launch.child = std::move(*child);
    return launch;
}

std::expected<ServerSupervisor::DataDirectories, std::string>
ServerSupervisor::ensureDataDirectories() {
    platform::FileSystem& files = facilities_.files;
    const auto support = files.applicationSupportFolder(true);
    if (!support) {
        return std::unexpected(support.error().description());
    }
    const std::filesystem::path base = *support / dataFolderName;
    const DataDirectories data{
        .db = base / "library.db", .plugins = base / "plugins", .artwork = base / "artwork"};
    for (const auto& folder : {base, data.plugins, data.artwork}) {
        auto made = files.createFolders(folder, privateFolder);
        if (made) {
            made = files.setPermissions(folder, privateFolder);
        }
        if (!made) {
            return std::unexpected(made.error().description());
        }
    }
    for (const std::string_view suffix : {"", "-wal", "-shm"}) {
        const std::filesystem::path file = data.db.string() + std::string(suffix);
        if (!files.fileExists(file)) {
            continue;
        }
        if (const auto done = files.setPermissions(file, privateFile); !done) {
            return std::unexpected(done.error().description());
        }
    }
    return data;
}

platform::ChildOptions ServerSupervisor::childOptions(const std::filesystem::path& executable,
                                                      const Launch& launch) {
    platform::ChildOptions options;
    options.executable = executable;
    options.arguments = {"-addr",    fmt::format("127.0.0.1:{}", launch.port),
                         "-db",      launch.data.db.string(),
                         "-plugins", launch.data.plugins.string()};
    for (auto& [flag, path] : resolver_.mediaToolArguments()) {
        options.arguments.push_back(std::move(flag));
        options.arguments.push_back(std::move(path));
    }
    options.environment = environment_;
    options.environment[std::string(ostra::Nonce::environmentVariable)] = launch.nonce;
    options.environment["MEDIASERVER_ARTWORK_DIR"] = launch.data.artwork.string();
    options.guardianGrace = stopGrace;
    options.markVariable = ostra::Nonce::environmentVariable;

    const auto lines = std::make_shared<ostra::OutputLines>(
        [&log = facilities_.log](std::span<const std::string_view> some) {
            log.writeLines("[ostrad] ", some);
        });
    options.onOutput = [lines](std::string_view piece) { lines->append(piece); };
    options.onExit = [lines, weak = weak_from_this(), generation = generation_,
                      &mainQueue = facilities_.mainQueue](platform::ExitStatus status) {
        lines->finish();
        mainQueue.post([weak, generation, status] {
            if (const auto self = weak.lock()) {
                self->handleTermination(generation, status);
            }
        });
    };
    return options;
}

void ServerSupervisor::pollHealth(std::uint16_t port, const std::string& nonce,
                                  std::int64_t generation) {
    if (generation != generation_) {
        return; // the state callback has stopped or started anew meanwhile
    }
    HealthLoop::Plan plan{.url = std::string(ostra::healthUrl(port).buffer()),
                          .nonce = nonce,
                          .tries = healthTries,
                          .interval = healthInterval};
    healthLoop_ = std::make_shared<HealthLoop>(
        facilities_.http, facilities_.backgroundQueues.global(platform::QualityOfService::utility),
        std::move(plan),
        [weak = weak_from_this(), port, generation,
         &mainQueue = facilities_.mainQueue](bool healthy) {
            mainQueue.post([weak, healthy, port, generation] {
                if (const auto self = weak.lock()) {
                    self->healthEnded(healthy, port, generation);
                }
            });
        });
    healthLoop_->start();
}

void ServerSupervisor::healthEnded(bool healthy, std::uint16_t port, std::int64_t generation) {
    // A reply may arrive after the exit of the very child that sent it.
    if (generation != generation_ || !process_) {
        return;
    }
    if (healthy) {
        setState(Running{port});
        return;
    }
    // Something else may hold the port: the next launch gets a fresh one.
    ostra::PortPicker::forgetStablePort(facilities_.defaults);
    setState(Failed{fmt::format("server never became healthy on port {}", port)});
}

void ServerSupervisor::handleTermination(std::int64_t generation, platform::ExitStatus status) {
    endingCompleted(generation);
    if (generation != generation_ || stopping_) {
        return;
    }
    process_.reset();
    setState(Failed{fmt::format("server exited (status {}); restarting", status.code)});
    using Duration = platform::SteadyTime::duration;
    using Seconds = std::chrono::duration<double>;
    const Duration delay =
        std::max<Duration>(restartThrottle - (facilities_.clock.now() - lastStart_), Duration{0});
    facilities_.log.write(fmt::format("ostrad exited (status {}); restarting in {:.1f}s",
                                      status.code, Seconds(delay).count()));
    const Duration least =
        mayHaveBeenTerminated(status) ? Duration(momentAfterTermination) : Duration{0};
    facilities_.mainQueue.postAfter(std::max(delay, least), [weak = weak_from_this(), generation] {
        const auto self = weak.lock();
        if (self && self->generation_ == generation && !self->stopping_) {
            self->start();
        }
    });
}

// The child that has to be ended, if there is one that runs.
ServerSupervisor::Child ServerSupervisor::takeProcess() {
    stopping_ = true;
    advanceGeneration();
    Child child = std::exchange(process_, nullptr);
    if (!child || !child->isRunning()) {
        return nullptr;
    }
    ending_.push_back({processGeneration_, child});
    return child;
}

void ServerSupervisor::stop(std::function<void()> completion) {
    checkMainThread();
    const Child child = takeProcess();
    setState(Stopped{});
    if (child) {
        child->terminate();
        waitThenKill(
            child, facilities_.clock.now() + stopGrace, facilities_.clock,
            facilities_.backgroundQueues.global(platform::QualityOfService::userInitiated));
    }
    if (ending_.empty()) {
        if (completion) {
            completion();
        }
    } else if (completion) {
        endWaiters_.push_back(std::move(completion));
    }
}

void ServerSupervisor::endingCompleted(std::int64_t generation) {
    const auto ended = std::erase_if(
        ending_, [&](const Ending& ending) { return ending.generation == generation; });
    if (ended > 0 && ending_.empty()) {
        for (const auto& waiter : std::exchange(endWaiters_, {})) {
            waiter();
        }
    }
}

void ServerSupervisor::stopSync() {
    checkMainThread();
    std::ignore = takeProcess();
    const std::vector<Ending> endings = std::exchange(ending_, {});
    endWaiters_.clear();
    for (const Ending& ending : endings) {
        ending.child->terminate();
    }
    const auto deadline = facilities_.clock.now() + stopGrace;
    for (const Ending& ending : endings) {
        waitThenKill(*ending.child, deadline, facilities_.clock);
    }
}

void ServerSupervisor::restart() {
    stop([weak = weak_from_this(), expected = generation_ + 1] {
        const auto self = weak.lock();
        if (self && self->generation_ == expected) {
            self->start();
        }
    });
}

} // namespace zorvane
