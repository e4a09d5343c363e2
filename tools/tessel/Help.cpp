// tessel help: the help of any command.
#include "tools/tessel/Output.h"
#include "tools/tessel/Tool.h"
#include "tools/tessel/Usage.h"

#include <memory>
#include <string>
#include <vector>

namespace tool {

void addHelp(CLI::App& app, Tool& tool) {
    CLI::App* const help = app.add_subcommand("help", "Print the help of a command");
    const auto words = std::make_shared<std::vector<std::string>>();
    help->add_option("COMMAND", *words, "The command's words; without any, help about tessel");
    help->footer(examples({"tessel help", "tessel help health run"}));
    help->callback([words, &app, &tool] {
        const Way way = followWords(app, *words);
        if (way.command == nullptr) {
            tool.refuse(way.wrong);
            return;
        }
        printText(helpOf(*way.command));
    });
}

} // namespace tool
