// tessel staged: which of several staged files is the one to run.
#include "mac/OstraCore/StagedPayloads.h"
#include "tools/tessel/Output.h"
#include "tools/tessel/Tool.h"

#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

namespace tool {

void addStaged(CLI::App& app, Tool& tool) {
    CLI::App* const staged = app.add_subcommand("staged", "Choose among staged files");
    staged->require_subcommand(1);
    CLI::App* const best = staged->add_subcommand(
        "best", "Print the newest of the names that is newer than V; exit 1 if none is");
    best->footer(examples({"tessel staged best --newer-than 1.4.0 ostrad-1.4.1 ostrad-1.10",
                           "ls bin | xargs tessel staged best --newer-than 1.4.0"}));
    struct Options {
        std::string newerThan;
        std::string prefix{ostra::StagedPayloads::defaultPrefix};
        std::vector<std::string> names;
    };
    const auto options = std::make_shared<Options>();
    best->add_option("--newer-than", options->newerThan, "The version to beat")->required();
    best->add_option("--prefix", options->prefix, "What the names begin with")
        ->capture_default_str();
    best->add_option("NAME", options->names, "Names of staged files: the prefix and a version")
        ->required();
    best->callback([options, &tool] {
        const auto found =
            ostra::StagedPayloads::pickBest(options->names, options->newerThan, options->prefix);
        if (!found) {
            tool.status = 1;
            return;
        }
        emit("{}\n", found->name);
    });
}

} // namespace tool
