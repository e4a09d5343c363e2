// tessel version: which of two versions is the newer one.
#include "mac/Tessel/Application/Version.h"

#include "tools/tessel/Output.h"
#include "tools/tessel/Tool.h"

#include <fmt/format.h>

#include <memory>
#include <string>

namespace tool {

void addVersion(CLI::App& app, Tool& tool) {
    CLI::App* const version = app.add_subcommand("version", "Compare versions");
    version->require_subcommand(1);
    CLI::App* const newer =
        version->add_subcommand("newer", "Print whether A is newer than B; exit 0 if it is");
    newer->footer(examples({"tessel version newer 1.10 1.9    # true",
                            "tessel version newer 1.2 1.2.0   # false, exit 1"}));
    struct Options {
        std::string a;
        std::string b;
    };
    const auto options = std::make_shared<Options>();
    newer->add_option("A", options->a, "A version: whole numbers with dots between them")
        ->required();
    newer->add_option("B", options->b, "The version to compare it with")->required();
    newer->callback([options, &tool] {
        const bool answer = tessel::AppVersion::isNewer(options->a, options->b);
        emit("{}\n", answer);
        tool.status = answer ? 0 : 1;
    });
}

} // namespace tool
