// tessel, the command line of the support library. Results go to standard output, diagnostics to
// standard error; the exit status is 0 for success, 1 for a negative answer or a failure, 2 for
// wrong usage, 130 after Ctrl-C and 141 when the reader of standard output has gone. Each group of
// subcommands is added by one function, named after the group, and has a file of its own.
#pragma once

#include "platform/Environment.h"

#include <CLI/App.hpp>

#include <initializer_list>
#include <string>
#include <string_view>

namespace tool {

struct Tool {
    platform::Environment environment; // this process's own
    int status = 0;                    // what the process will exit with

    // Prints "tessel: MESSAGE" to standard error and makes the exit status 1.
    void fail(std::string_view message);
    // The same for an argument that cannot be read: the exit status becomes 2.
    void refuse(std::string_view message);
};

// Text below the options of a subcommand's help: "Examples:" and one indented line each.
[[nodiscard]] std::string examples(std::initializer_list<std::string_view> lines);

void addVersion(CLI::App& app, Tool& tool);
void addStaged(CLI::App& app, Tool& tool);
void addState(CLI::App& app, Tool& tool);
void addCredentials(CLI::App& app, Tool& tool);
void addOrigin(CLI::App& app, Tool& tool); // and verify-url
void addLink(CLI::App& app, Tool& tool);
void addWeb(CLI::App& app, Tool& tool); // and script
void addHealth(CLI::App& app, Tool& tool);
void addHelp(CLI::App& app, Tool& tool);
void addCompletion(CLI::App& app, Tool& tool); // last: it describes the others

} // namespace tool
