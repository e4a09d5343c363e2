// The commands of a CLI11 application as a flat list, for what is generated from them: shell
// completions and the manual page. Pure.
#pragma once

#include <CLI/App.hpp>

#include <string>
#include <vector>

namespace tool {

struct CommandOption {
    std::vector<std::string> names;   // "-h", "--help"; a positional has one name without dashes
    std::string value;                // what its argument is called; empty for a flag
    std::vector<std::string> choices; // all that its argument may be, if it is one of a few words
    std::string description;
    bool positional = false;
    bool required = false;
};

struct Command {
    std::vector<std::string> path; // "credentials", "show"; empty for the application itself
    std::string description;
    std::string footer;
    std::vector<std::string> subcommands;
    std::vector<CommandOption> options; // those of the groups it belongs to as well, after its own
};

// The application first, then each command before its subcommands, in the order they were added.
[[nodiscard]] std::vector<Command> commandTree(const CLI::App& app);

[[nodiscard]] std::string bashCompletion(const std::vector<Command>& commands);
[[nodiscard]] std::string zshCompletion(const std::vector<Command>& commands);
[[nodiscard]] std::string fishCompletion(const std::vector<Command>& commands);
// A manual page of section 1 in man(7) format.
[[nodiscard]] std::string manualPage(const std::vector<Command>& commands,
                                     const std::string& version);

} // namespace tool
