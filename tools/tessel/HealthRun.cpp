// tessel health run: checks that are commands, their report, and its submission; and tessel health
// flush: the submission alone.
#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/AppHealthRunner.h"
#include "mac/Tessel/Health/AppHealthSchema.h"
#include "mac/Tessel/Json/StrictJson.h"
#include "tools/tessel/CheckCommand.h"
#include "tools/tessel/FileContent.h"
#include "tools/tessel/Health.h"
#include "tools/tessel/HealthPlan.h"
#include "tools/tessel/HealthSubmit.h"
#include "tools/tessel/HealthTable.h"
#include "tools/tessel/Interrupts.h"
#include "tools/tessel/Output.h"

#include <fmt/format.h>

#include <chrono>
#include <exception>
#include <vector>

namespace tool::health {
namespace {

using platform::posix::WatchedEnd;
using tessel::AppHealthCheck;
using tessel::AppHealthStatus;

struct RunOptions {
    StoreOptions store;
    std::string plan;
    std::string trigger = "manual";
    bool ifNeeded = false;
    std::string submit;
};

AppHealthStatus statusOf(const WatchedEnd& end) {
    constexpr int temporaryFailure = 75; // EX_TEMPFAIL of sysexits.h
    constexpr int skipped = 77;          // as test drivers agree
    if (end.reason != WatchedEnd::Reason::exited || end.status.signalled) {
        return AppHealthStatus::fail;
    }
    switch (end.status.code) {
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
tessel::AppHealthMetrics metricsOf(const WatchedEnd& end) {
    if (end.reason != WatchedEnd::Reason::exited || !end.isOutputWhole) {
        return {};
    }
    const auto tree = tessel::StrictJson::parse(end.output);
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

// Runs the checks one after the other and tells a person how far it is.
class Checks {
  public:
    Checks(const Plan& plan, const platform::Environment& environment, const Interrupts& interrupts)
        : plan_(plan)
        , environment_(environment)
        , interrupts_(interrupts)
        , isWatched_(errorIsTerminal())
        , isColoured_(isWatched_ && wantsColour(environment)) {}

    [[nodiscard]] std::vector<AppHealthCheck> all() {
        std::vector<AppHealthCheck> checks;
        for (const PlannedCheck& planned : plan_.checks) {
            checks.emplace_back(planned.id, planned.category,
                                [this, &planned] { return run(planned); });
        }
        return checks;
    }

  private:
    AppHealthCheck::Outcome run(const PlannedCheck& planned) {
        ++number_;
        showProgress(fmt::format("[{}/{}] {} ...", number_, plan_.checks.size(), planned.id));
        const auto begun = std::chrono::steady_clock::now();
        AppHealthCheck::Outcome outcome{AppHealthStatus::fail, {{"error", 1}}};
        std::string explanation;
        try {
            const auto end =
                runShell(planned.command, {}, environment_, interrupts_, planned.timeout);
            if (end.reason == WatchedEnd::Reason::interrupted) {
                showProgress(" interrupted\n");
                throw tessel::AppHealthRunAborted();
            }
            outcome.first = statusOf(end);
            if (end.reason == WatchedEnd::Reason::exited) {
                outcome.second = metricsOf(end);
            }
            explanation = explain(end, planned.timeout);
        } catch (const tessel::AppHealthRunAborted&) {
            throw;
        } catch (const std::exception& error) {
            explanation = error.what();
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begun;
        showProgress(
            fmt::format(" {} ({:.1f} s)\n", statusText(outcome.first, isColoured_), took.count()));
        if (outcome.first == AppHealthStatus::fail) {
            say(fmt::format("check {} failed: {}", planned.id, explanation));
        }
        return outcome;
    }

    void showProgress(const std::string& text) const {
        if (isWatched_) {
            sayText(text);
        }
    }

    const Plan& plan_;
    const platform::Environment& environment_;
    const Interrupts& interrupts_;
    const bool isWatched_;
    const bool isColoured_;
    std::size_t number_ = 0;
};

void show(const tessel::AppHealthReport& report, Tool& tool) {
    printText(tessel::AppHealthJSON::storedData(report));
    tool.status = report.status == AppHealthStatus::fail ? 1 : 0;
}

void endInterrupted(const Interrupts& interrupts, Tool& tool) {
    tool.status = Interrupts::exitStatus(interrupts.signal());
}

void run(const RunOptions& options, Tool& tool, const Plan& plan) {
    const Interrupts interrupts;
    Checks checks(plan, tool.environment, interrupts);
    Submitter submitter(options.submit, tool.environment, interrupts);
    OpenStore store(options.store);
    tessel::AppHealthRunner runner(plan.configuration, checks.all(), *store,
                                   submitter.asFunction());
    try {
        if (!options.ifNeeded) {
            const auto trigger = tessel::fromRawValue<tessel::AppHealthTrigger>(options.trigger);
            show(runner.run(trigger.value_or(tessel::AppHealthTrigger::manual)), tool);
        } else if (const auto report = runner.runIfNeeded()) {
            show(*report, tool);
        }
    } catch (const tessel::AppHealthRunAborted&) {
        tool.fail("interrupted; nothing was recorded");
    }
    if (interrupts.signal() != 0) {
        endInterrupted(interrupts, tool);
    } else if (submitter.hasFailed()) {
        tool.status = 1;
    }
}

void runPlan(const RunOptions& options, Tool& tool) {
    const auto text = contentOf(options.plan);
    if (!text) {
        tool.refuse(text.error());
        return;
    }
    const auto plan = readPlan(*text);
    if (!plan) {
        tool.refuse(fmt::format("{}: {}", options.plan, visible(plan.error())));
        return;
    }
    guarded(tool, [&] { run(options, tool, *plan); });
}

void flush(const RunOptions& options, Tool& tool) {
    if (!isThere(options.store, tool)) {
        return;
    }
    guarded(tool, [&] {
        const Interrupts interrupts;
        Submitter submitter(options.submit, tool.environment, interrupts);
        OpenStore store(options.store);
        const bool isEmpty = tessel::AppHealthRunner::submitPending(*store, submitter.asFunction());
        if (interrupts.signal() != 0) {
            endInterrupted(interrupts, tool);
        } else if (!isEmpty) {
            tool.status = 1; // the submitter has said why
        }
    });
}

CLI::Option* addSubmit(CLI::App& command, RunOptions& options) {
    return command
        .add_option("--submit", options.submit,
                    "A shell command that takes each pending report on standard input and "
                    "accepts it with exit status 0")
        ->type_name("COMMAND");
}

void addFlush(CLI::App& health, Tool& tool) {
    const auto options = std::make_shared<RunOptions>();
    CLI::App* const command = health.add_subcommand(
        "flush", "Send the pending reports, oldest first; exit 1 if one is not taken");
    options->store.addRoot(*command);
    addSubmit(*command, *options)->required();
    command->footer(examples({"tessel health flush --root reports --submit "
                              "'curl -fsS -T - https://example.org/health'"}));
    command->callback([options, &tool] { flush(*options, tool); });
}

} // namespace

void addRun(CLI::App& health, Tool& tool) {
    const auto options = std::make_shared<RunOptions>();
    CLI::App* const command = health.add_subcommand(
        "run", "Run the checks of a plan, keep and print the report; exit 1 if it failed");
    options->store.addRoot(*command);
    options->store.addLimits(*command);
    command->add_option("--config", options->plan, "The plan: a JSON file, or - ")
        ->required()
        ->type_name("FILE");
    CLI::Option* const trigger = addTrigger(*command, options->trigger, "What made the report");
    trigger->capture_default_str();
    command
        ->add_flag("--if-needed", options->ifNeeded,
                   "Only for a new version or build, or when the interval has passed")
        ->excludes(trigger);
    addSubmit(*command, *options);
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
        "A check passes with exit status 0, warns with 75, is skipped with 77 and fails "
        "otherwise;\n"
        "a failure is explained on standard error, with the last lines of what the check printed.\n"
        "An object of numbers that it prints becomes its metrics. Without a report that says fail\n"
        "the exit status is 0, unless --submit was given and a report was not taken.");
    command->callback([options, &tool] { runPlan(*options, tool); });
    addFlush(health, tool);
}

} // namespace tool::health
