// tessel health validate, record, latest, history, pending, find.
#include "mac/Tessel/AppHealthEnumerations.h"
#include "mac/Tessel/AppHealthJSON.h"
#include "mac/Tessel/AppHealthReportFile.h"
#include "mac/Tessel/AppHealthValidator.h"
#include "mac/Tessel/JsonText.h"
#include "tools/tessel/FileContent.h"
#include "tools/tessel/Health.h"

#include <boost/json/array.hpp>
#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <vector>

namespace tool::health {
namespace {

struct Options {
    StoreOptions store;
    std::string file = "-";
    bool json = false;
    bool keys = false;
    std::string app;
    std::string version;
    std::string build;
    std::string trigger;
};

using SharedOptions = std::shared_ptr<Options>;

void addFile(CLI::App& command, Options& options) {
    command.add_option("FILE", options.file, "A report; - is standard input")
        ->capture_default_str();
}

// The content of the file named on the command line; without it the exit status is 2.
std::optional<std::string> input(const Options& options, Tool& tool) {
    auto content = contentOf(options.file);
    if (!content) {
        tool.fail(content.error());
        tool.status = 2;
        return std::nullopt;
    }
    return *std::move(content);
}

void validate(const Options& options, Tool& tool) {
    const auto content = input(options, tool);
    if (!content) {
        return;
    }
    const auto result = tessel::AppHealthValidator::validate(*content);
    tool.status = result.ok ? 0 : 1;
    if (options.json) {
        const boost::json::array errors(result.errors.begin(), result.errors.end());
        fmt::print("{{\"ok\":{},\"errors\":{}}}\n", result.ok,
                   tessel::compactJsonText(errors).value_or("[]"));
        return;
    }
    for (const auto& message : result.errors) {
        fmt::print("{}\n", message);
    }
    if (result.ok) {
        fmt::print("ok\n");
    }
}

void record(const Options& options, Tool& tool) {
    const auto content = input(options, tool);
    if (!content) {
        return;
    }
    guarded(tool, [&] {
        const auto report = tessel::AppHealthValidator::decode(*content);
        fmt::print("{}\n", OpenStore(options.store)->record(report));
    });
}

void printReport(const tessel::AppHealthReport& report, bool keyOnly) {
    const auto data = tessel::AppHealthJSON::storedData(report);
    if (keyOnly) {
        fmt::print("{}\n", tessel::AppHealthReportFile::keyOf(report, data));
        return;
    }
    std::fwrite(data.data(), 1, data.size(), stdout);
}

// Looking makes no folder.
bool isThere(const Options& options, Tool& tool) {
    std::error_code ignored;
    if (std::filesystem::exists(options.store.root, ignored)) {
        return true;
    }
    tool.fail(fmt::format("there is no folder {}", options.store.root));
    return false;
}

void printEntries(const Options& options, const std::vector<tessel::StoredAppHealthReport>& all) {
    for (const auto& entry : all) {
        if (options.keys) {
            fmt::print("{}\n", entry.file.stem().native());
        } else {
            printReport(entry.report, false);
        }
    }
}

void printOne(const Options& options, Tool& tool,
              const std::optional<tessel::AppHealthReport>& report) {
    if (report) {
        printReport(*report, options.keys);
    } else {
        tool.status = 1;
    }
}

void find(const Options& options, Tool& tool, OpenStore& store) {
    const auto trigger = tessel::fromRawValue<tessel::AppHealthTrigger>(options.trigger);
    if (!options.trigger.empty() && !trigger) {
        tool.fail(fmt::format("there is no trigger {}", options.trigger));
        tool.status = 2;
        return;
    }
    printOne(options, tool,
             store->findReport(options.app, options.version, options.build, trigger));
}

CLI::App& addCommand(CLI::App& health, Tool& tool, const SharedOptions& options, const char* name,
                     const char* description, void (*action)(const Options&, Tool&)) {
    CLI::App* const command = health.add_subcommand(name, description);
    command->callback([options, &tool, action] { action(*options, tool); });
    return *command;
}

CLI::App& addLook(CLI::App& health, Tool& tool, const SharedOptions& options, const char* name,
                  const char* description, void (*action)(const Options&, Tool&, OpenStore&)) {
    CLI::App* const command = health.add_subcommand(name, description);
    options->store.addRoot(*command);
    command->add_flag("--keys", options->keys, "Print the reports' keys only");
    command->callback([options, &tool, action] {
        guarded(tool, [&] {
            if (isThere(*options, tool)) {
                OpenStore store(options->store);
                action(*options, tool, store);
            }
        });
    });
    return *command;
}

} // namespace

void addReports(CLI::App& health, Tool& tool) {
    const auto options = std::make_shared<Options>();
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

    addLook(health, tool, options, "latest", "Print the report that was recorded last",
            [](const Options& chosen, Tool& called, OpenStore& store) {
                printOne(chosen, called, store->latestReport());
            });
    addLook(health, tool, options, "history", "Print the reports that are kept, oldest first",
            [](const Options& chosen, Tool&, OpenStore& store) {
                printEntries(chosen, store->historyEntries());
            });
    addLook(health, tool, options, "pending", "Print the reports still to be submitted",
            [](const Options& chosen, Tool&, OpenStore& store) {
                printEntries(chosen, store->pendingEntries());
            });
    CLI::App& finding =
        addLook(health, tool, options, "find", "Print the newest report of a build", find);
    finding.add_option("--app", options->app, "The application's identifier")->required();
    finding.add_option("--version", options->version, "Its version")->required();
    finding.add_option("--build", options->build, "Its build")->required();
    finding.add_option("--trigger", options->trigger, "What made the report, for example manual");
    finding.footer(examples(
        {"tessel health find --root reports --app zorvane --version 1.2.0 --build 7 --keys"}));
}

} // namespace tool::health
