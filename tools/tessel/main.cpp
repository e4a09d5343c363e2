#include "tools/tessel/Output.h"
#include "tools/tessel/Tool.h"
#include "tools/tessel/Usage.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <exception>
#include <string>
#include <vector>

namespace {

constexpr int wrongUsage = 2;

void addCommands(CLI::App& app, tool::Tool& tool) {
    app.set_version_flag("-V,--version", "tessel " ZORVANE_VERSION, "Print the version and end");
    app.require_subcommand(1);
    app.fallthrough(); // the options of a group are taken after its commands too
    app.footer("Each command has a help of its own: tessel help version newer\n"
               "Exit status: 0 success, 1 a negative answer or a failure, 2 wrong usage,\n"
               "130 after Ctrl-C, 141 when the reader of standard output has gone.");
    tool::addVersion(app, tool);
    tool::addStaged(app, tool);
    tool::addState(app, tool);
    tool::addCredentials(app, tool);
    tool::addOrigin(app, tool);
    tool::addLink(app, tool);
    tool::addWeb(app, tool);
    tool::addHealth(app, tool);
    tool::addHelp(app, tool);
    tool::addCompletion(app, tool);
}

// The command that was asked for its help: the last one that was recognised.
const CLI::App& askedOf(const CLI::App& app) {
    const CLI::App* at = &app;
    while (!at->get_subcommands().empty()) {
        at = at->get_subcommands().back();
    }
    return *at;
}

int run(int argc, char** argv) {
    tool::Tool tool{.environment = platform::currentEnvironment()};
    CLI::App app{
        "Tessel from the command line: versions, private state, credentials, device links, "
        "web-app windows and health reports.",
        "tessel"};
    addCommands(app, tool);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        tool::printText(tool::helpOf(askedOf(app)));
    } catch (const CLI::CallForVersion& version) {
        tool::emit("{}\n", version.what());
    } catch (const CLI::ParseError& refusal) {
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        tool::say(tool::describeWrongUsage(app, arguments, refusal.what()));
        return wrongUsage;
    } catch (const std::exception& failure) {
        tool.fail(failure.what());
    }
    return tool.status;
}

} // namespace

int main(int argc, char** argv) {
    tool::takeStandardDescriptors();
    // A reader that goes away is noticed where it is written to.
    std::signal(SIGPIPE, SIG_IGN);
    // How a check ended is not told to a parent that inherited not wanting to know.
    std::signal(SIGCHLD, SIG_DFL);
    return tool::finishOutput(run(argc, argv));
}
