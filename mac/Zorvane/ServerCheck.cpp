#include "mac/Zorvane/ServerCheck.h"

#include "mac/OstraCore/AccountLink.h"
#include "mac/OstraCore/LibrarySummary.h"
#include "mac/OstraCore/ServerUrl.h"
#include "mac/OstraCore/SidecarConfig.h"
#include "mac/OstraCore/StagedPayloads.h"
#include "mac/Zorvane/HealthLoop.h"
#include "mac/Zorvane/ServerClauses.h"
#include "mac/Zorvane/ServerSupervisor.h"
#include "mac/Zorvane/ServerWitness.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <system_error>
#include <utility>

namespace zorvane {
namespace {

using namespace std::chrono_literals;
using platform::HttpResult;

// Longer than the supervisor's own patience with a server.
constexpr auto launchLimit = (ServerSupervisor::healthTries + 4) * 1s;
constexpr auto endLimit = ServerSupervisor::stopGrace + 10s;
constexpr auto exchangeLimit = 70s;
constexpr int steadyRequests = 20;

// A bundle without media tools, as on a computer that has none.
class BareBundle final : public platform::Bundle {
  public:
    [[nodiscard]] std::optional<std::filesystem::path> bundlePath() const override { return {}; }
    [[nodiscard]] std::optional<std::filesystem::path> resourcesPath() const override { return {}; }
    [[nodiscard]] std::filesystem::path executablePath() const override { return {}; }
    [[nodiscard]] std::optional<std::filesystem::path>
    auxiliaryExecutable(std::string_view /*name*/) const override {
        return {};
    }
    [[nodiscard]] std::optional<std::string> infoString(std::string_view /*key*/) const override {
        return {};
    }
    [[nodiscard]] platform::InfoDictionary infoDictionary() const override { return {}; }
    [[nodiscard]] std::optional<std::string>
    resource(std::string_view /*name*/, std::string_view /*extension*/) const override {
        return {};
    }
};

std::string lastLine(std::string_view output) {
    while (output.ends_with('\n')) {
        output.remove_suffix(1);
    }
    return excerpt(output.substr(output.rfind('\n') + 1));
}

// Files and folders that others than the owner may read or write, relative to the folder.
std::vector<std::string> openEntries(const std::filesystem::path& folder) {
    namespace fs = std::filesystem;
    constexpr fs::perms others = fs::perms::group_all | fs::perms::others_all;
    std::vector<std::string> open;
    std::error_code error;
    for (auto entry = fs::recursive_directory_iterator(folder, error);
         !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        std::error_code unknown;
        const fs::file_status status = entry->symlink_status(unknown);
        const bool counts =
            status.type() == fs::file_type::regular || status.type() == fs::file_type::directory;
        if (!unknown && counts && (status.permissions() & others) != fs::perms::none) {
            const auto mode = static_cast<unsigned>(status.permissions() & fs::perms::mask);
            open.push_back(fmt::format(
                "{} ({:04o})", excerpt(entry->path().lexically_relative(folder).string()), mode));
        }
    }
    std::ranges::sort(open);
    return open;
}

class Check {
  public:
    Check(const ServerCheckFacilities& facilities, const platform::Environment& environment,
          const std::filesystem::path& executable, const std::filesystem::path& folder,
          const std::function<bool()>& interrupted)
        : facilities_(facilities)
        , interrupted_(interrupted)
        , folder_(folder)
        , environment_(environment)
        , launcher_(facilities.launcher)
        , http_(facilities.http)
        , files_(facilities.files, folder)
        , report_{.executable = executable, .clauses = allClauses()} {
        environment_[std::string(ostra::SidecarLocator::overrideKey)] = executable.string();
    }

    ServerReport run() {
        if (const auto made = facilities_.files.createFolders(folder_, 0700); !made) {
            settle("start", {ClauseOutcome::failed, excerpt(made.error().description())});
            return std::move(report_);
        }
        checkVersion();
        checkLaunches();
        if (supervisor_) {
            supervisor_->stopSync();
        }
        supervisor_.reset();
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
        return std::move(report_);
    }

  private:
    using Running = ServerSupervisor::Running;
    using Failed = ServerSupervisor::Failed;

    void settle(std::string_view id, Judgement judgement) {
        const auto clause = std::ranges::find(report_.clauses, id, &ClauseResult::id);
        // A clause that has failed once stays failed.
        if (clause->outcome != ClauseOutcome::failed) {
            clause->outcome = judgement.outcome;
            clause->seen = std::move(judgement.seen);
        }
    }

    bool waitFor(const std::function<bool()>& condition, std::chrono::nanoseconds limit) {
        return facilities_.loop.runUntil([&] { return interrupted_() || condition(); }, limit) &&
               !interrupted_();
    }

    // Asks, and runs the loop until the answer is there.
    template <typename Record>
    void ask(const std::function<void(std::function<void(std::optional<Record>)>)>& start) {
        const auto answered = std::make_shared<std::atomic<bool>>(false);
        start([answered](const std::optional<Record>&) { *answered = true; });
        waitFor([&] { return answered->load(); }, exchangeLimit);
    }

    // The request of a health probe, to another address or in addition.
    std::optional<HttpResult> get(const std::string& url, std::chrono::milliseconds timeout) {
        platform::HttpRequest request;
        request.url = url;
        request.timeout = timeout;
        const auto answered = std::make_shared<std::atomic<bool>>(false);
        http_.send(std::move(request), [answered](const HttpResult&) { *answered = true; });
        waitFor([&] { return answered->load(); }, exchangeLimit);
        return http_.exchange(url);
    }

    void supervise(platform::Bundle& bundle) {
        supervisor_ = ServerSupervisor::create({.mainQueue = facilities_.loop,
                                                .backgroundQueues = facilities_.backgroundQueues,
                                                .clock = facilities_.clock,
                                                .launcher = launcher_,
                                                .http = http_,
                                                .ports = facilities_.ports,
                                                .random = facilities_.random,
                                                .defaults = defaults_,
                                                .bundle = bundle,
                                                .commands = facilities_.commands,
                                                .files = files_,
                                                .log = log_},
                                               environment_);
    }

    [[nodiscard]] std::optional<std::uint16_t> runningPort() const {
        const auto* const running = std::get_if<Running>(&supervisor_->state());
        return running == nullptr ? std::nullopt : std::optional(running->port);
    }
    [[nodiscard]] std::string nonce() const {
        return platform::valueOf(launcher_.record()->options.environment,
                                 std::string(ostra::Nonce::environmentVariable));
    }
    [[nodiscard]] std::string stateText() const {
        const auto* const failed = std::get_if<Failed>(&supervisor_->state());
        return failed == nullptr ? std::string("no answer in time") : excerpt(failed->reason);
    }
    [[nodiscard]] std::string exitText() const {
        const auto exit = launcher_.record()->exit();
        if (!exit) {
            return stateText();
        }
        const std::string last = lastLine(launcher_.record()->output());
        return fmt::format("{} {} by itself{}{}",
                           exit->signalled ? "ended by signal" : "exited with", exit->code,
                           last.empty() ? "" : "; its last line: ", last);
    }

    // Launches, and waits until it is healthy or will not be. A server that exits is not started
    // again by the supervisor: it is stopped before that.
    bool launch() {
        http_.forget();
        supervisor_->start();
        waitFor(
            [this] {
                return !std::holds_alternative<ServerSupervisor::Starting>(supervisor_->state());
            },
            launchLimit);
        return runningPort().has_value();
    }

    void checkVersion() {
        SidecarResolver resolver({.bundle = facilities_.bundle,
                                  .commands = facilities_.commands,
                                  .files = files_,
                                  .log = log_},
                                 environment_);
        const auto version = resolver.probeVersion(report_.executable);
        if (!version) {
            settle("version", {ClauseOutcome::notOffered, {}});
            return;
        }
        const std::string staged = std::string(ostra::StagedPayloads::defaultPrefix) + *version;
        const bool bare =
            ostra::StagedPayloads::version(staged, ostra::StagedPayloads::defaultPrefix)
                .has_value();
        settle("version", {bare ? ClauseOutcome::held : ClauseOutcome::failed, excerpt(*version)});
    }

    void checkLaunches() {
        supervise(facilities_.bundle);
        const auto before = facilities_.clock.now();
        const bool healthy = launch();
        if (interrupted_()) {
            return;
        }
        if (!launcher_.record() || launcher_.record()->exit() || (!healthy && !launcher_.child())) {
            settle("start", {ClauseOutcome::failed, launcher_.record() ? exitText() : stateText()});
            return;
        }
        if (!healthy) {
            settle("start", {});
            settle("health", lastHealth());
            checkEnd();
            return;
        }
        using Seconds = std::chrono::duration<double>;
        settle("health",
               {ClauseOutcome::held,
                fmt::format("after {:.1f} s", Seconds(facilities_.clock.now() - before).count())});
        const std::uint16_t port = *runningPort();
        port_ = port;
        checkHealth(port);
        checkClients(port);
        settle("start", runningPort() ? Judgement{} : Judgement{ClauseOutcome::failed, exitText()});
        checkEnd();
        checkSecondLaunch();
        checkKilled();
    }

    [[nodiscard]] Judgement lastHealth() const {
        // The only address that was asked for.
        const auto replies = http_.exchangesBelow("http://127.0.0.1:");
        Judgement judgement =
            judgeHealth(replies.empty() ? std::nullopt : std::optional(replies.front()), nonce());
        if (judgement.outcome == ClauseOutcome::held) {
            return {ClauseOutcome::failed, stateText()};
        }
        return judgement;
    }

    void checkHealth(std::uint16_t port) {
        const std::string url(ostra::healthUrl(port).buffer());
        settle("steady", {});
        for (int request = 0; request < steadyRequests && !interrupted_(); ++request) {
            settle("steady", judgeHealth(get(url, ServerSupervisor::healthInterval), nonce()));
        }
        // Addresses of this computer at which a server that listens everywhere answers.
        settle("loopback", {});
        for (const std::string_view host : {"127.0.0.2", "[::1]"}) {
            const auto elsewhere = get(fmt::format("http://{}:{}/api/health", host, port),
                                       ServerSupervisor::healthInterval);
            if (elsewhere && isHealthyReply(*elsewhere, nonce())) {
                settle("loopback",
                       {ClauseOutcome::failed, fmt::format("it answers at {} as well", host)});
            }
        }
        settle("page", judgePage(get(std::string(ostra::serverUrl(port).buffer()), 2s)));
    }

    void checkClients(std::uint16_t port) {
        const ostra::Url base = ostra::serverUrl(port);
        const std::string root(base.buffer());
        ask<ostra::LibrarySummary>([&](auto completion) {
            ostra::LibrarySummaryClient::fetch(base, http_, facilities_.backgroundQueues,
                                               std::move(completion));
        });
        settle("modes", judgeModes(http_.exchange(root + "api/modes")));
        settle("libraries", judgeLibraries(http_.exchange(root + "api/libraries")));
        settle("totals", judgeTotals(http_.exchangesBelow(root + "api/entities")));
        ask<ostra::AccountStatus>([&](auto completion) {
            ostra::AccountLink::fetchStatus(base, http_, std::move(completion));
        });
        const auto status = http_.exchange(root + "api/account/link/status");
        settle("link-status", judgeLinkStatus(status));
        const auto known =
            status && *status ? ostra::AccountLink::parseStatus((*status)->body) : std::nullopt;
        if (!known || known->linked) {
            settle("link-start", {ClauseOutcome::notOffered, {}});
            return;
        }
        ask<ostra::LinkStart>([&](auto completion) {
            ostra::AccountLink::startLink(base, http_, std::move(completion));
        });
        settle("link-start", judgeLinkStart(http_.exchange(root + "api/account/link/start")));
    }

    // Stops what runs and looks at what is left.
    void checkEnd() {
        const auto record = launcher_.record();
        const bool ranTillNow = !record->exit();
        const std::string lastNonce = nonce();
        const auto asked = facilities_.clock.now();
        auto ended = std::make_shared<bool>(false);
        supervisor_->stop([ended] { *ended = true; });
        waitFor([&] { return *ended && record->exit().has_value(); }, endLimit);
        if (interrupted_()) {
            return;
        }
        using Seconds = std::chrono::duration<double>;
        const double took = Seconds(facilities_.clock.now() - asked).count();
        const auto exit = record->exit();
        const bool killed = !exit || (exit->signalled && exit->code == 9);
        if (ranTillNow) {
            settle("terminate",
                   {killed ? ClauseOutcome::failed : ClauseOutcome::held,
                    fmt::format("{} after {:.1f} s", killed ? "killed" : "ended", took)});
        }
        settle("output", judgeOutput(record->output()));
        settle("secret", record->output().contains(lastNonce)
                             ? Judgement{ClauseOutcome::failed, "the nonce is in its output"}
                             : Judgement{});
        const auto open = openEntries(folder_);
        settle("files", open.empty()
                            ? Judgement{}
                            : Judgement{ClauseOutcome::failed,
                                        fmt::format("{}: {}",
                                                    open.size() == 1 ? "others may use it"
                                                                     : "others may use them",
                                                    fmt::join(open, ", "))});
        if (port_) {
            const auto answer = get(std::string(ostra::healthUrl(*port_).buffer()), 500ms);
            settle("gone", answer && *answer && (*answer)->body.contains(lastNonce)
                               ? Judgement{ClauseOutcome::failed, "it still answers on its port"}
                               : Judgement{});
        }
    }

    void comparePorts(std::string_view after) {
        if (const auto port = runningPort(); port && port_) {
            settle("port", *port == *port_
                               ? Judgement{}
                               : Judgement{ClauseOutcome::failed,
                                           fmt::format("{} was not free {}", *port_, after)});
            port_ = port;
        }
    }

    void settleRelaunch(std::string_view id, bool healthy) {
        if (interrupted_()) {
            return;
        }
        if (healthy) {
            settle(id, {});
        } else if (launcher_.record()->exit()) {
            settle(id, {ClauseOutcome::failed, exitText()});
        } else {
            settle(id, lastHealth());
        }
    }

    // Without media tools this time.
    void checkSecondLaunch() {
        if (interrupted_()) {
            return;
        }
        supervisor_.reset();
        supervise(bare_);
        settleRelaunch("again", launch());
        comparePorts("after it had ended");
    }

    void checkKilled() {
        const auto child = launcher_.child();
        if (interrupted_() || !runningPort() || !child) {
            return;
        }
        child->kill();
        waitFor([this] { return !runningPort(); }, endLimit);
        settleRelaunch("killed", launch());
        comparePorts("after it was killed");
    }

    const ServerCheckFacilities& facilities_;
    const std::function<bool()>& interrupted_;
    const std::filesystem::path& folder_;
    platform::Environment environment_;
    SilentLog log_;
    BareBundle bare_;
    PassingDefaults defaults_;
    WitnessedLauncher launcher_;
    WitnessedHttp http_;
    RelocatedFiles files_;
    ServerReport report_;
    std::shared_ptr<ServerSupervisor> supervisor_;
    std::optional<std::uint16_t> port_; // where it ran last
};

} // namespace

bool ServerReport::passed() const {
    return std::ranges::none_of(clauses, [](const ClauseResult& clause) {
        return clause.outcome == ClauseOutcome::failed
                   ? clause.level != ClauseLevel::should
                   : clause.outcome == ClauseOutcome::notReached &&
                         clause.level == ClauseLevel::must;
    });
}

ServerReport checkServer(const ServerCheckFacilities& facilities,
                         const platform::Environment& environment,
                         const std::filesystem::path& executable,
                         const std::filesystem::path& folder,
                         const std::function<bool()>& interrupted) {
    return Check(facilities, environment, executable, folder, interrupted).run();
}

} // namespace zorvane
