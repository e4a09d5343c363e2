#include "tools/tessel/OpenStore.h"

namespace tool {

std::shared_ptr<StoreOptions> addStoreOptions(CLI::App& command) {
    auto options = std::make_shared<StoreOptions>();
    command.add_option("--app", options->app, "The application's name")
        ->required()
        ->type_name("NAME");
    command
        .add_option("--override-key", options->overrideKey,
                    "The variable that moves the state elsewhere (default: NAME_STATE_DIR)")
        ->type_name("KEY");
    return options;
}

tessel::StateStore openStore(const StoreOptions& options, platform::HeadlessPlatform& platform,
                             const platform::Environment& environment) {
    return {{.fileSystem = platform.fileSystem(),
             .privateFiles = platform.privateFiles(),
             .host = platform.host(),
             .clock = platform.clock()},
            options.app,
            environment,
            options.overrideKey};
}

} // namespace tool
