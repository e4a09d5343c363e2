// The options that name an application's state, and the store they lead to.
#pragma once

#include "mac/Tessel/State/StateStore.h"
#include "platform/Headless.h"

#include <CLI/App.hpp>

#include <memory>
#include <optional>
#include <string>

namespace tool {

struct StoreOptions {
    std::string app;
    std::optional<std::string> overrideKey;
};

// Adds --app and --override-key to a command or a group of commands.
[[nodiscard]] std::shared_ptr<StoreOptions> addStoreOptions(CLI::App& command);
void addStoreOptions(CLI::App& command, StoreOptions& options);

// Makes the application's folder.
[[nodiscard]] tessel::StateStore openStore(const StoreOptions& options,
                                           platform::HeadlessPlatform& platform,
                                           const platform::Environment& environment);
// Makes and changes nothing.
[[nodiscard]] tessel::StateStore existingStore(const StoreOptions& options,
                                               platform::HeadlessPlatform& platform,
                                               const platform::Environment& environment);

} // namespace tool
