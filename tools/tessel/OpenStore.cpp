#include "tools/tessel/OpenStore.h"

#include "tools/tessel/Usage.h"

namespace tool {
namespace {

tessel::StateStore::Facilities facilitiesOf(platform::HeadlessPlatform& platform) {
    return {.fileSystem = platform.fileSystem(),
            .privateFiles = platform.privateFiles(),
            .host = platform.host(),
            .clock = platform.clock()};
}

} // namespace

void addStoreOptions(CLI::App& command, StoreOptions& options) {
    command.add_option("--app", options.app, "The application's name")
        ->required()
        ->type_name("NAME")
        ->check(pathComponent());
    command
        .add_option("--override-key", options.overrideKey,
                    "The variable that moves the state elsewhere (default: NAME_STATE_DIR)")
        ->type_name("KEY");
}

std::shared_ptr<StoreOptions> addStoreOptions(CLI::App& command) {
    auto options = std::make_shared<StoreOptions>();
    addStoreOptions(command, *options);
    return options;
}

tessel::StateStore openStore(const StoreOptions& options, platform::HeadlessPlatform& platform,
                             const platform::Environment& environment) {
    return {facilitiesOf(platform), options.app, environment, options.overrideKey};
}

tessel::StateStore existingStore(const StoreOptions& options, platform::HeadlessPlatform& platform,
                                 const platform::Environment& environment) {
    return tessel::StateStore::existing(facilitiesOf(platform), options.app, environment,
                                        options.overrideKey);
}

} // namespace tool
