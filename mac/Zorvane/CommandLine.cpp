#include "mac/Zorvane/CommandLine.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>
#include <string_view>
#include <vector>

namespace zorvane {
namespace {

// Launch Services passes a process serial number, Xcode and `open --args` passes user defaults.
std::vector<std::string> argumentsOfOurs(int argc, const char* const* argv) {
    std::vector<std::string> ours;
    for (int index = 1; index < argc; ++index) {
        const std::string_view argument = argv[index];
        if (argument.starts_with("-psn_")) {
            continue;
        }
        if (argument.starts_with("-NS") || argument.starts_with("-Apple")) {
            ++index; // and its value
            continue;
        }
        ours.emplace_back(argument);
    }
    return ours;
}

} // namespace

std::optional<CommandLineAnswer> answerCommandLine(int argc, const char* const* argv,
                                                   const std::string& version) {
    CLI::App app{"Keeps a local media server running, from the menu bar or the tray.", "Zorvane"};
    app.set_version_flag("--version", "Zorvane " + version, "Print the version and end");
    // As an option, and as a command for those who have it in their path.
    ServerCheckRequest request;
    std::string executable;
    CLI::Option* const option =
        app.add_option("--check-server", executable,
                       "Examine whether a server keeps the contract, print the result and end")
            ->option_text("EXECUTABLE");
    app.add_flag("--json", request.asJson, "Print the result as JSON")->needs(option);
    CLI::App* const command =
        app.add_subcommand("check-server", "The same as --check-server")->group("Commands");
    command->add_option("executable", executable, "The server")->required()->option_text(" ");
    command->add_flag("--json", request.asJson, "Print the result as JSON");
    command->excludes(option);
    app.footer("Environment:\n"
               "  OSTRA_SIDECAR=PATH   run this server instead of the bundled one\n"
               "  OSTRA_DEV_NO_MOVE=1  do not offer to move into the Applications folder\n"
               "\nStarting Zorvane a second time shows the window of the one that runs.");
    try {
        std::vector<std::string> arguments = argumentsOfOurs(argc, argv);
        std::reverse(arguments.begin(), arguments.end()); // the order CLI11 takes them in
        app.parse(arguments);
        if (option->count() == 0 && !command->parsed()) {
            return std::nullopt;
        }
        request.executable = executable;
        return CommandLineAnswer{.checkServer = request};
    } catch (const CLI::ParseError& error) {
        std::ostringstream output;
        std::ostringstream complaint;
        const int status = app.exit(error, output, complaint);
        return CommandLineAnswer{
            .output = output.str(), .error = complaint.str(), .exitStatus = status == 0 ? 0 : 2};
    }
}

} // namespace zorvane
