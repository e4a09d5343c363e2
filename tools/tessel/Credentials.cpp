// tessel credentials: what a finished device link left behind.
#include "mac/Tessel/State/Credentials.h"

#include "mac/Tessel/Json/JsonText.h"
#include "tools/tessel/OpenStore.h"
#include "tools/tessel/Output.h"
#include "tools/tessel/Tool.h"

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <fmt/format.h>

namespace tool {
namespace {

struct CredentialsOptions {
    std::shared_ptr<StoreOptions> store;
    bool reveal = false;
    bool json = false;
};

void show(const tessel::Credentials& credentials, const CredentialsOptions& options) {
    const auto linkedAt = tessel::formatTimestampWithoutFraction(credentials.linkedAt);
    if (options.json) {
        boost::json::object object{{"serverOrigin", credentials.serverOrigin},
                                   {"tokenName", credentials.tokenName},
                                   {"linkedAt", linkedAt}};
        if (options.reveal) {
            object["token"] = credentials.token;
        }
        emit("{}\n", tessel::compactJsonText(object).value_or("null"));
        return;
    }
    emit("token name: {}\nserver: {}\nlinked at: {}\n", visible(credentials.tokenName),
         visible(credentials.serverOrigin), linkedAt);
    if (options.reveal) {
        emit("token: {}\n", visible(credentials.token));
    }
}

// Says that they are gone only when they are.
void remove(const CredentialsOptions& options, Tool& tool) {
    const auto platform = platform::makeHeadlessPlatform(tool.environment);
    const auto store = existingStore(*options.store, *platform, tool.environment);
    if (const auto removed = store.tryDeleteCredentials(); !removed) {
        tool.fail(removed.error().description());
    } else if (platform->privateFiles().exists(store.credentialsURL())) {
        tool.fail(fmt::format("{} is still there", store.credentialsURL().native()));
    }
}

} // namespace

void addCredentials(CLI::App& app, Tool& tool) {
    CLI::App* const credentials =
        app.add_subcommand("credentials", "What a finished link left behind");
    credentials->require_subcommand(1);
    const auto options = std::make_shared<CredentialsOptions>();
    options->store = addStoreOptions(*credentials);
    CLI::App* const shown =
        credentials->add_subcommand("show", "Print the credentials; exit 1 without any");
    shown->add_flag("--reveal", options->reveal, "Print the token as well");
    shown->add_flag("--json", options->json, "Print one JSON object");
    shown->footer(examples({"tessel credentials show --app Zorvane",
                            "tessel credentials show --app Zorvane --json --reveal"}));
    shown->callback([options, &tool] {
        const auto platform = platform::makeHeadlessPlatform(tool.environment);
        const auto store = existingStore(*options->store, *platform, tool.environment);
        if (const auto loaded = store.loadCredentials()) {
            show(*loaded, *options);
        } else {
            const bool isThere = platform->privateFiles().exists(store.credentialsURL());
            tool.fail(isThere ? fmt::format("{} holds no credentials that can be read",
                                            store.credentialsURL().native())
                              : "there are no credentials");
        }
    });
    CLI::App* const deleted =
        credentials->add_subcommand("delete", "Delete the credentials; no error without any");
    deleted->footer(examples({"tessel credentials delete --app Zorvane"}));
    deleted->callback([options, &tool] { remove(*options, tool); });
}

} // namespace tool
