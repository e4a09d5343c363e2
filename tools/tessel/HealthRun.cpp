// tessel health run: checks that are commands, their report, and its submission.
#include "mac/Tessel/AppHealthJSON.h"
#include "mac/Tessel/AppHealthRunner.h"
#include "mac/Tessel/AppHealthSchema.h"
#include "mac/Tessel/StrictJson.h"
#include "platform/posix/PosixCommandRunner.h"
#include "tools/tessel/FileContent.h"
#include "tools/tessel/Health.h"
#include "tools/tessel/HealthPlan.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

namespace tool::health {
namespace {

using tessel::AppHealthCheck;
using tessel::AppHealthStatus;

constexpr std::size_t mostOutput = std::size_t{64} << 10;

struct Options {
    StoreOptions store;
    std::string plan;
    std::string trigger = "manual";
    bool ifNeeded = false;
    std::string submit;
};

AppHealthStatus statusOf(platform::ExitStatus exit) {
    constexpr int temporaryFailure = 75; // EX_TEMPFAIL of sysexits.h
    constexpr int skipped = 77;          // as test drivers agree
    if (exit.signalled) {
        return AppHealthStatus::fail;
    }
    switch (exit.code) {
    case 0:
        return AppHealthStatus::pass;
    case temporaryFailure:
        return AppHealthStatus::warning;
    case skipped:
        return AppHealthStatus::skip;
    default:
        return AppHealthStatus::fail;
    }
}

// Numbers that a report may hold; what a check prints besides is its own business.
tessel::AppHealthMetrics metricsOf(std::string_view output) {
    const auto tree = tessel::StrictJson::parse(output);
    if (!tree || !tree->root().isObject() ||
        tree->root().size() > tessel::AppHealthSchema::mostMetrics) {
        return {};
    }
    tessel::AppHealthMetrics metrics;
    for (const auto member : tree->root().members()) {
        const auto number = member.value.number();
        if (!number || !tessel::AppHealthSchema::validMetricKey(member.key) ||
            !tessel::AppHealthSchema::validMetricValue(*number)) {
            return {};
        }
        metrics.emplace(member.key, *number);
    }
    return metrics;
}

platform::CommandResult runShell(const platform::Environment& environment,
                                 const std::vector<std::string>& arguments,
                                 std::chrono::milliseconds timeout) {
    platform::PosixCommandRunner runner(environment);
    auto result = runner.run("/bin/sh", arguments, timeout, mostOutput);
    if (!result) {
        throw std::runtime_error(result.error().description);
    }
    return *std::move(result);
}

AppHealthCheck checkFor(const PlannedCheck& planned, const platform::Environment& environment) {
    return {planned.id, planned.category, [planned, &environment] {
                const bool isWatched = ::isatty(STDERR_FILENO) == 1;
                if (isWatched) {
                    fmt::print(stderr, "{} ...", planned.id);
                    std::fflush(stderr);
                }
                std::string shown = "fail";
                AppHealthCheck::Outcome outcome{AppHealthStatus::fail, {{"error", 1}}};
                try {
                    // Nobody reads its diagnostics here; a pipe full of them would stop it.
                    const auto result = runShell(
                        environment, {"-c", "exec 2>/dev/null; eval \"$1\"", "sh", planned.command},
                        planned.timeout);
                    outcome = {statusOf(result.status), metricsOf(result.output)};
                    shown = tessel::rawValue(outcome.first);
                } catch (const std::exception& error) {
                    shown = error.what();
                }
                if (isWatched) {
                    fmt::print(stderr, " {}\n", shown);
                }
                return outcome;
            }};
}

// The report in a file of its own, which the submitter's shell opens and removes at once.
class ReportFile {
  public:
    explicit ReportFile(const std::string& content)
        : path_((std::filesystem::temp_directory_path() / "tessel-report-XXXXXX").string()) {
        const int file = ::mkstemp(path_.data());
        if (file < 0) {
            throw std::runtime_error("cannot make a temporary file");
        }
        const bool isWhole =
            ::write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size());
        ::close(file);
        if (!isWhole) {
            ::unlink(path_.c_str());
            throw std::runtime_error("cannot write a temporary file");
        }
    }
    ReportFile(const ReportFile&) = delete;
    ReportFile& operator=(const ReportFile&) = delete;
    ~ReportFile() { ::unlink(path_.c_str()); }

    [[nodiscard]] const std::string& path() const { return path_; }

  private:
    std::string path_;
};

tessel::AppHealthRunner::Submit submitter(const std::string& command,
                                          const platform::Environment& environment) {
    if (command.empty()) {
        return {};
    }
    return [command, &environment](const tessel::AppHealthReport& report) {
        constexpr std::chrono::minutes patience{2};
        const ReportFile file(tessel::AppHealthJSON::storedData(report));
        const auto result = runShell(environment,
                                     {"-c", "exec <\"$1\" >/dev/null 2>&1 || exit 1; eval \"$2\"",
                                      "sh", file.path(), command},
                                     patience);
        return result.status.succeeded();
    };
}

void print(const tessel::AppHealthReport& report, Tool& tool) {
    const auto data = tessel::AppHealthJSON::storedData(report);
    std::fwrite(data.data(), 1, data.size(), stdout);
    tool.status = report.status == AppHealthStatus::fail ? 1 : 0;
}

void run(const Options& options, Tool& tool, const Plan& plan) {
    const auto trigger = tessel::fromRawValue<tessel::AppHealthTrigger>(options.trigger);
    if (!trigger) {
        tool.fail(fmt::format("there is no trigger {}", options.trigger));
        tool.status = 2;
        return;
    }
    std::vector<AppHealthCheck> checks;
    checks.reserve(plan.checks.size());
    for (const PlannedCheck& planned : plan.checks) {
        checks.push_back(checkFor(planned, tool.environment));
    }
    OpenStore store(options.store);
    tessel::AppHealthRunner runner(plan.configuration, std::move(checks), *store,
                                   submitter(options.submit, tool.environment));
    if (!options.ifNeeded) {
        print(runner.run(*trigger), tool);
    } else if (const auto report = runner.runIfNeeded()) {
        print(*report, tool);
    }
}

void runPlan(const Options& options, Tool& tool) {
    const auto text = contentOf(options.plan);
    if (!text) {
        tool.fail(text.error());
        tool.status = 2;
        return;
    }
    const auto plan = readPlan(*text);
    if (!plan) {
        tool.fail(fmt::format("{}: {}", options.plan, plan.error()));
        tool.status = 2;
        return;
    }
    guarded(tool, [&] { run(options, tool, *plan); });
}

} // namespace

void addRun(CLI::App& health, Tool& tool) {
    const auto options = std::make_shared<Options>();
    CLI::App* const command = health.add_subcommand(
        "run", "Run the checks of a plan, keep and print the report; exit 1 if it failed");
    options->store.addRoot(*command);
    options->store.addLimits(*command);
    command->add_option("--config", options->plan, "The plan: a JSON file, or - ")->required();
    CLI::Option* const trigger =
        command->add_option("--trigger", options->trigger, "What the report says made it")
            ->capture_default_str();
    command
        ->add_flag("--if-needed", options->ifNeeded,
                   "Only for a new version or build, or when the interval has passed")
        ->excludes(trigger);
    command->add_option("--submit", options->submit,
                        "A shell command that takes each pending report on standard input and "
                        "accepts it with exit status 0");
    command->footer(
        examples({"tessel health run --root reports --config plan.json --trigger postbuild",
                  "tessel health run --root reports --config plan.json --if-needed --submit "
                  "'curl -fsS -T - https://example.org/health'"}) +
        "\n\nThe plan:\n"
        "  {\"app\": \"zorvane\", \"channel\": \"release\", \"version\": \"1.2.0\", \"build\": "
        "\"7\",\n"
        "   \"artifact\": \"mac-app\", \"checks\": [{\"id\": \"server.starts\", \"category\": "
        "\"smoke\",\n"
        "   \"command\": \"ostrad -version\", \"timeout\": 10}]}\n\n"
        "A check passes with exit status 0, warns with 75, is skipped with 77 and fails otherwise. "
        "An object of numbers that it prints becomes its metrics.");
    command->callback([options, &tool] { runPlan(*options, tool); });
}

} // namespace tool::health
