// tessel health validate, record, latest, history, pending, find.
#include "mac/Tessel/Health/AppHealthEnumerations.h"
#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/AppHealthReportFile.h"
#include "mac/Tessel/Health/AppHealthValidator.h"
#include "mac/Tessel/Json/JsonText.h"
#include "tools/tessel/FileContent.h"
#include "tools/tessel/Health.h"
#include "tools/tessel/HealthTable.h"
#include "tools/tessel/Output.h"

#include <boost/json/array.hpp>
#include <fmt/format.h>

#include <filesystem>
#include <vector>

namespace tool::health {
namespace {

struct ReportsOptions {
    StoreOptions store;
    std::string file = "-";
    bool json = false;
    bool keys = false;
    std::string app;
    std::string version;
    std::string build;
    std::string trigger;
};

using SharedOptions = std::shared_ptr<ReportsOptions>;

void addFile(CLI::App& command, ReportsOptions& options) {
    command.add_option("FILE", options.file, "A report; - is standard input")
        ->capture_default_str();
}

// The content of the file named on the command line; without it the exit status is 2.
std::optional<std::string> input(const ReportsOptions& options, Tool& tool) {
    auto content = contentOf(options.file);
    if (!content) {
        tool.refuse(content.error());
        return std::nullopt;
    }
    return *std::move(content);
}

void validate(const ReportsOptions& options, Tool& tool) {
    const auto content = input(options, tool);
    if (!content) {
        return;
    }
    const auto result = tessel::AppHealthValidator::validate(*content);
    tool.status = result.ok ? 0 : 1;
    if (options.json) {
        const boost::json::array errors(result.errors.begin(), result.errors.end());
        emit("{{\"ok\":{},\"errors\":{}}}\n", result.ok,
             tessel::compactJsonText(errors).value_or("[]"));
        return;
    }
    for (const auto& message : result.errors) {
        emit("{}\n", message);
    }
    if (result.ok) {
        emit("ok\n");
    }
}

void record(const ReportsOptions& options, Tool& tool) {
    const auto content = input(options, tool);
    if (!content) {
        return;
    }
    guarded(tool, [&] {
        const auto report = tessel::AppHealthValidator::decode(*content);
        emit("{}\n", OpenStore(options.store)->record(report));
    });
}

// A person gets a table, unless --json is given; a script always gets JSON.
bool wantsTable(const ReportsOptions& options) {
    return !options.json && outputIsTerminal();
}

void printReport(const tessel::AppHealthReport& report, const ReportsOptions& options, Tool& tool) {
    const auto data = tessel::AppHealthJSON::storedData(report);
    if (options.keys) {
        emit("{}\n", tessel::AppHealthReportFile::keyOf(report, data));
    } else if (wantsTable(options)) {
        printText(tableOf(report, wantsColour(tool.environment)));
    } else {
        printText(data);
    }
}

void printEntries(const ReportsOptions& options, Tool& tool,
                  const std::vector<tessel::StoredAppHealthReport>& all) {
    if (!options.keys && wantsTable(options)) {
        printText(tableOf(all, wantsColour(tool.environment)));
        return;
    }
    for (const auto& entry : all) {
        if (options.keys) {
            emit("{}\n", entry.file.stem().native());
        } else {
            printText(tessel::AppHealthJSON::storedData(entry.report));
        }
    }
}

void latest(const ReportsOptions& options, Tool& tool, const StoreToRead& store) {
    if (const auto report = store->latestReport()) {
        printReport(*report, options, tool);
        return;
    }
    const auto file = std::filesystem::path(options.store.root) / "latest.json";
    std::error_code ignored;
    tool.fail(std::filesystem::symlink_status(file, ignored).type() ==
                      std::filesystem::file_type::not_found
                  ? fmt::format("there is no report in {}", options.store.root)
                  : fmt::format("{} holds no report that can be read", file.native()));
}

void find(const ReportsOptions& options, Tool& tool, const StoreToRead& store) {
    const auto trigger = tessel::fromRawValue<tessel::AppHealthTrigger>(options.trigger);
    if (const auto report =
            store->findReport(options.app, options.version, options.build, trigger)) {
        printReport(*report, options, tool);
    } else {
        tool.fail(fmt::format("there is no such report in {}", options.store.root));
    }
}

CLI::App& addCommand(CLI::App& health, Tool& tool, const SharedOptions& options, const char* name,
                     const char* description, void (*action)(const ReportsOptions&, Tool&)) {
    CLI::App* const command = health.add_subcommand(name, description);
    command->callback([options, &tool, action] { action(*options, tool); });
    return *command;
}

CLI::App& addLook(CLI::App& health, Tool& tool, const SharedOptions& options, const char* name,
                  const char* description,
                  void (*action)(const ReportsOptions&, Tool&, const StoreToRead&)) {
    CLI::App* const command = health.add_subcommand(name, description);
    options->store.addRoot(*command);
    command->add_flag("--keys", options->keys, "Print the reports' keys only");
    command->add_flag("--json", options->json, "Print JSON, on a terminal too");
    command->callback([options, &tool, action] {
        guarded(tool, [&] {
            if (isThere(options->store, tool)) {
                action(*options, tool, StoreToRead(options->store));
            }
        });
    });
    return *command;
}

} // namespace

void addReports(CLI::App& health, Tool& tool) {
    const auto options = std::make_shared<ReportsOptions>();
    CLI::App& validating =
        addCommand(health, tool, options, "validate",
                   "Print what is wrong with a report, or ok; exit 1 if something is", validate);
    addFile(validating, *options);
    validating.add_flag("--json", options->json, "Print a JSON object with ok and errors");
    validating.footer(examples({"tessel health validate report.json && echo fine",
                                "curl -s https://example.org/health | tessel health validate -"}));
    CLI::App& recording = addCommand(health, tool, options, "record",
                                     "Keep a valid report and print its key", record);
    options->store.addRoot(recording);
    options->store.addLimits(recording);
    addFile(recording, *options);
    recording.footer(examples({"tessel health record --root reports report.json"}));

    addLook(health, tool, options, "latest", "Print the report that was recorded last", latest)
        .footer(examples({"tessel health latest --root reports",
                          "tessel health latest --root reports --json | jq .status"}));
    addLook(health, tool, options, "history", "Print the reports that are kept, oldest first",
            [](const ReportsOptions& chosen, Tool& called, const StoreToRead& store) {
                printEntries(chosen, called, store->historyEntries());
            });
    addLook(health, tool, options, "pending", "Print the reports still to be submitted",
            [](const ReportsOptions& chosen, Tool& called, const StoreToRead& store) {
                printEntries(chosen, called, store->pendingEntries());
            });
    CLI::App& finding =
        addLook(health, tool, options, "find", "Print the newest report of a build", find);
    finding.add_option("--app", options->app, "The application's identifier")->required();
    finding.add_option("--version", options->version, "Its version")->required();
    finding.add_option("--build", options->build, "Its build")->required();
    addTrigger(finding, options->trigger, "What made the report");
    finding.footer(examples(
        {"tessel health find --root reports --app zorvane --version 1.2.0 --build 7 --keys"}));
}

} // namespace tool::health
