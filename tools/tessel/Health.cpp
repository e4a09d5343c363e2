// tessel health: reports about the health of an application's build.
#include "tools/tessel/Health.h"

#include "mac/Tessel/AppHealthValidationError.h"

#include <fmt/format.h>

#include <exception>
#include <utility>

namespace tool {
namespace health {

void StoreOptions::addRoot(CLI::App& command) {
    command.add_option("--root", root, "The folder that holds the reports")->required();
}

void StoreOptions::addLimits(CLI::App& command) {
    command.add_option("--history-limit", historyLimit, "How many reports are kept")
        ->capture_default_str();
    command.add_option("--pending-limit", pendingLimit, "How many are kept for submission")
        ->capture_default_str();
}

OpenStore::OpenStore(const StoreOptions& options)
    : random_(platform::makeRandomSource())
    , store_(options.root, files_, *random_, options.historyLimit, options.pendingLimit) {}

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
