#include "tools/tessel/Tool.h"

#include <CLI/CLI.hpp>

int main(int argc, char** argv) {
    tool::Tool tool{.environment = platform::currentEnvironment()};
    CLI::App app{
        "Tessel from the command line: versions, private state, credentials, device links, "
        "web-app windows and health reports.",
        "tessel"};
    app.set_version_flag("--version", "tessel " ZORVANE_VERSION, "Print the version and end");
    app.require_subcommand(1);
    app.footer("Each command has a help of its own: tessel version --help\n"
               "Exit status: 0 success, 1 a negative answer or a failure, 2 wrong usage.");
    tool::addVersion(app, tool);
    tool::addStaged(app, tool);
    tool::addState(app, tool);
    tool::addCredentials(app, tool);
    tool::addOrigin(app, tool);
    tool::addLink(app, tool);
    tool::addWeb(app, tool);
    tool::addHealth(app, tool);
    tool::addCompletion(app, tool);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    return tool.status;
}
