// tessel health: reports about the health of an application's build.
#include "tools/tessel/Health.h"

#include "mac/Tessel/Health/AppHealthEnumerations.h"
#include "mac/Tessel/Health/AppHealthValidationError.h"
#include "platform/ErrnoText.h"
#include "tools/tessel/Usage.h"

#include <CLI/Validators.hpp>
#include <fmt/format.h>

#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

namespace tool {
namespace health {

void StoreOptions::addRoot(CLI::App& command) {
    command.add_option("--root", root, "The folder that holds the reports")
        ->required()
        ->type_name("FOLDER");
}

void StoreOptions::addLimits(CLI::App& command) {
    command.add_option("--history-limit", historyLimit, "How many reports are kept")
        ->capture_default_str()
        ->type_name("NUMBER")
        ->check(atLeastOne());
    command.add_option("--pending-limit", pendingLimit, "How many are kept for submission")
        ->capture_default_str()
        ->type_name("NUMBER")
        ->check(atLeastOne());
}

bool isThere(const StoreOptions& options, Tool& tool) {
    std::error_code failure;
    if (std::filesystem::is_directory(options.root, failure)) {
        return true;
    }
    const bool isAbsent = !failure || failure == std::errc::no_such_file_or_directory;
    tool.fail(isAbsent ? fmt::format("there is no folder {}", options.root)
                       : fmt::format("cannot look into {}: {}", options.root,
                                     platform::errnoText(failure.value())));
    return false;
}

CLI::Option* addTrigger(CLI::App& command, std::string& trigger, const std::string& description) {
    std::vector<std::string> names;
    for (const auto value : tessel::allCases<tessel::AppHealthTrigger>()) {
        names.emplace_back(tessel::rawValue(value));
    }
    return command.add_option("--trigger", trigger, description)
        ->type_name("TRIGGER")
        ->check(CLI::IsMember(names));
}

OpenStore::OpenStore(const StoreOptions& options)
    : random_(platform::makeRandomSource())
    , store_(options.root, files_, *random_, options.historyLimit, options.pendingLimit) {}

StoreToRead::StoreToRead(const StoreOptions& options)
    : random_(platform::makeRandomSource())
    , store_(tessel::AppHealthStore::forReading(options.root, files_, *random_)) {}

void guarded(Tool& tool, const std::function<void()>& action) {
    try {
        action();
    } catch (const tessel::AppHealthValidationError& error) {
        for (const auto& message : error.errors()) {
            tool.fail(message);
        }
    } catch (const std::exception& error) {
        tool.fail(error.what());
    }
}

} // namespace health

void addHealth(CLI::App& app, Tool& tool) {
    CLI::App* const command =
        app.add_subcommand("health", "Make, check and keep reports of an application's health");
    command->require_subcommand(1);
    health::addReports(*command, tool);
    health::addRun(*command, tool);
    health::addAttest(*command, tool);
}

} // namespace tool
