// tessel origin and tessel verify-url: which account service, and which of its pages.
#include "mac/Tessel/Link/ServerOrigin.h"
#include "mac/Tessel/Link/VerifyUrl.h"
#include "tools/tessel/OpenStore.h"
#include "tools/tessel/Output.h"
#include "tools/tessel/Tool.h"
#include "tools/tessel/Usage.h"

#include <fmt/format.h>

namespace tool {
namespace {

struct OriginOptions {
    std::string environmentKey;
    std::string placeholder;
    std::string app;
    std::optional<std::string> overrideKey;
    std::string info;
};

void printOrigin(const OriginOptions& options, Tool& tool) {
    const auto placeholder = tessel::parseUrl(options.placeholder);
    if (!placeholder) {
        tool.refuse(fmt::format("--placeholder: {} is no URL", visible(options.placeholder)));
        return;
    }
    const auto platform = platform::makeHeadlessPlatform(tool.environment);
    std::optional<tessel::Credentials> credentials;
    if (!options.app.empty()) {
        credentials = existingStore({.app = options.app, .overrideKey = options.overrideKey},
                                    *platform, tool.environment)
                          .loadCredentials();
    }
    std::optional<platform::InfoDictionary> info;
    if (!options.info.empty()) {
        auto read = platform->readInfoFile(options.info);
        if (!read) {
            tool.fail(read.error());
            return;
        }
        info = *std::move(read);
    }
    const auto origin = tessel::ServerOrigin::resolve(options.environmentKey, credentials,
                                                      *placeholder, tool.environment, info);
    emit("{}\n", visible(std::string_view(origin.buffer().data(), origin.buffer().size())));
}

void addVerifyUrl(CLI::App& app, Tool& tool) {
    struct Options {
        std::string url;
        std::string origin;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* const verify = app.add_subcommand(
        "verify-url", "Print whether a link's page may be opened; exit 0 if it may");
    verify->add_option("URL", options->url, "The page, as the account service sent it")->required();
    verify->add_option("--origin", options->origin, "The account service")
        ->required()
        ->type_name("URL");
    verify->footer(examples(
        {"tessel verify-url https://account.example/link --origin https://account.example",
         "tessel verify-url https://evil.example/ --origin https://account.example   # false"}));
    verify->callback([options, &tool] {
        const auto origin = tessel::parseUrl(options->origin);
        if (!origin) {
            tool.refuse(fmt::format("--origin: {} is no URL", visible(options->origin)));
            return;
        }
        const bool accepted = tessel::validatedVerifyURL(options->url, *origin).has_value();
        emit("{}\n", accepted);
        tool.status = accepted ? 0 : 1;
    });
}

} // namespace

void addOrigin(CLI::App& app, Tool& tool) {
    const auto options = std::make_shared<OriginOptions>();
    CLI::App* const origin =
        app.add_subcommand("origin", "Print the account service a link would be made with");
    origin->add_option("--env-key", options->environmentKey, "The variable that names it")
        ->required()
        ->type_name("KEY");
    origin->add_option("--placeholder", options->placeholder, "Taken when nothing else names one")
        ->required()
        ->type_name("URL");
    origin->add_option("--app", options->app, "The application whose credentials may name it")
        ->type_name("NAME")
        ->check(pathComponent());
    origin
        ->add_option("--override-key", options->overrideKey,
                     "The variable that moves its state elsewhere (default: NAME_STATE_DIR)")
        ->type_name("KEY");
    origin
        ->add_option("--info", options->info,
                     "The application's Info.plist, whose update feed (SUFeedURL) is asked next")
        ->type_name("FILE");
    origin->footer(examples(
        {"tessel origin --env-key MY_ORIGIN --placeholder https://account.example",
         "tessel origin --env-key MY_ORIGIN --app Zorvane --placeholder https://account.example",
         "tessel origin --env-key MY_ORIGIN --info Info.plist --placeholder https://a.example"}));
    origin->callback([options, &tool] { printOrigin(*options, tool); });
    addVerifyUrl(app, tool);
}

} // namespace tool
