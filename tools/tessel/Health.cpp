// tessel health: reports about the health of an application's build.
#include "tools/tessel/Health.h"

#include "mac/Tessel/AppHealthValidationError.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
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

std::optional<std::string> contentOf(const std::string& file) {
    const auto close = [](std::FILE* open) { std::fclose(open); };
    std::unique_ptr<std::FILE, decltype(close)> opened;
    if (file != "-") {
        opened.reset(std::fopen(file.c_str(), "rbe"));
    }
    std::FILE* const input = file == "-" ? stdin : opened.get();
    if (input == nullptr) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 4096> chunk{};
    while (const std::size_t count = std::fread(chunk.data(), 1, chunk.size(), input)) {
        content.append(chunk.data(), count);
    }
    return std::ferror(input) != 0 ? std::nullopt : std::optional(std::move(content));
}

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
}

} // namespace tool
