// tessel completion and tessel manual: what a package installs beside the program, made from the
// commands themselves.
#include "tools/tessel/CommandTree.h"
#include "tools/tessel/Output.h"
#include "tools/tessel/Tool.h"

#include <fmt/format.h>

#include <string>

namespace tool {

void addCompletion(CLI::App& app, Tool&) {
    CLI::App* const completion =
        app.add_subcommand("completion", "Print the completion script of a shell");
    completion->require_subcommand(1);
    completion->footer(
        examples({"tessel completion bash > ~/.local/share/bash-completion/completions/tessel",
                  "tessel completion fish > ~/.config/fish/completions/tessel.fish"}));
    completion->add_subcommand("bash", "For bash")->callback([&app] {
        emit("{}", bashCompletion(commandTree(app)));
    });
    completion->add_subcommand("zsh", "For zsh")->callback([&app] {
        emit("{}", zshCompletion(commandTree(app)));
    });
    completion->add_subcommand("fish", "For fish")->callback([&app] {
        emit("{}", fishCompletion(commandTree(app)));
    });
    app.add_subcommand("manual", "Print the manual page, for man")
        ->footer(examples({"tessel manual | man -l -"}))
        ->callback([&app] { emit("{}", manualPage(commandTree(app), ZORVANE_VERSION)); });
}

} // namespace tool
