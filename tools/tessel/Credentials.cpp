// tessel credentials: what a finished device link left behind.
#include "mac/Tessel/Credentials.h"

#include "mac/Tessel/JsonText.h"
#include "tools/tessel/OpenStore.h"
#include "tools/tessel/Tool.h"

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <fmt/format.h>

namespace tool {
namespace {

struct Options {
    std::shared_ptr<StoreOptions> store;
    bool reveal = false;
    bool json = false;
};

void show(const tessel::Credentials& credentials, const Options& options) {
    const auto linkedAt = tessel::formatTimestampWithoutFraction(credentials.linkedAt);
    if (options.json) {
        boost::json::object object{{"serverOrigin", credentials.serverOrigin},
                                   {"tokenName", credentials.tokenName},
                                   {"linkedAt", linkedAt}};
        if (options.reveal) {
            object["token"] = credentials.token;
        }
        fmt::print("{}\n", tessel::compactJsonText(object).value_or("null"));
        return;
    }
    fmt::print("token name: {}\nserver: {}\nlinked at: {}\n", credentials.tokenName,
               credentials.serverOrigin, linkedAt);
    if (options.reveal) {
        fmt::print("token: {}\n", credentials.token);
    }
}

} // namespace

void addCredentials(CLI::App& app, Tool& tool) {
    CLI::App* const credentials =
        app.add_subcommand("credentials", "What a finished link left behind");
    credentials->require_subcommand(1);
    const auto options = std::make_shared<Options>();
    options->store = addStoreOptions(*credentials);
    CLI::App* const shown =
        credentials->add_subcommand("show", "Print the credentials; exit 1 without any");
    shown->add_flag("--reveal", options->reveal, "Print the token as well");
    shown->add_flag("--json", options->json, "Print one JSON object");
    shown->footer(examples({"tessel credentials --app Zorvane show",
                            "tessel credentials --app Zorvane show --json --reveal"}));
    shown->callback([options, &tool] {
        const auto platform = platform::makeHeadlessPlatform(tool.environment);
        const auto store = openStore(*options->store, *platform, tool.environment);
        if (const auto loaded = store.loadCredentials()) {
            show(*loaded, *options);
        } else {
            tool.fail("there are no credentials");
        }
    });
    CLI::App* const deleted =
        credentials->add_subcommand("delete", "Delete the credentials; no error without any");
    deleted->footer(examples({"tessel credentials --app Zorvane delete"}));
    deleted->callback([options, &tool] {
        const auto platform = platform::makeHeadlessPlatform(tool.environment);
        openStore(*options->store, *platform, tool.environment).deleteCredentials();
    });
}

} // namespace tool
