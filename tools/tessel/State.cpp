// tessel state: an application's private folder, its caches and its trash.
#include "tools/tessel/FileContent.h"
#include "tools/tessel/OpenStore.h"
#include "tools/tessel/Output.h"
#include "tools/tessel/Tool.h"

#include <fmt/format.h>

#include <cstdio>

namespace tool {
namespace {

struct StateOptions {
    std::shared_ptr<StoreOptions> store;
    std::string name;
    std::string file = "-";
};

void putCache(const StateOptions& options, platform::HeadlessPlatform& platform, Tool& tool) {
    const auto content = contentOf(options.file, tessel::StateStore::largestCache);
    if (!content) {
        tool.fail(content.error());
        return;
    }
    const auto store = openStore(*options.store, platform, tool.environment);
    if (const auto saved = store.trySaveCache(*content, options.name); !saved) {
        tool.fail(saved.error().description());
    } else if (store.loadCache(options.name) != *content) {
        tool.fail(fmt::format("{} does not hold what was put there",
                              store.cacheURL(options.name).native()));
    }
}

void getCache(const StateOptions& options, platform::HeadlessPlatform& platform, Tool& tool) {
    const auto store = existingStore(*options.store, platform, tool.environment);
    const auto content = store.loadCache(options.name);
    if (!content) {
        tool.fail(platform.privateFiles().exists(store.cacheURL(options.name))
                      ? fmt::format("{} cannot be read", store.cacheURL(options.name).native())
                      : fmt::format("there is no cache {}", options.name));
        return;
    }
    printText(*content);
}

void removeCache(const StateOptions& options, platform::HeadlessPlatform& platform, Tool& tool) {
    const auto store = existingStore(*options.store, platform, tool.environment);
    if (const auto removed = store.tryRemoveCache(options.name); !removed) {
        tool.fail(removed.error().description());
    }
}

void moveToTrash(const StateOptions& options, platform::HeadlessPlatform& platform, Tool& tool) {
    if (!platform.privateFiles().exists(options.name)) {
        tool.fail(fmt::format("there is no {}", options.name));
        return;
    }
    const auto store = openStore(*options.store, platform, tool.environment);
    const auto moved = store.tryMoveToTrash(options.name);
    if (!moved) {
        tool.fail(moved.error().description());
        return;
    }
    emit("{}\n", moved->native());
}

void makeFolder(const StateOptions& options, platform::HeadlessPlatform& platform, Tool& tool) {
    const auto store = openStore(*options.store, platform, tool.environment);
    if (const auto& failure = store.setUpFailure()) {
        tool.fail(failure->description());
        return;
    }
    emit("{}\n", store.baseDir().native());
}

using Action = void (*)(const StateOptions&, platform::HeadlessPlatform&, Tool&);

void run(CLI::App& command, const std::shared_ptr<StateOptions>& options, Tool& tool,
         Action action) {
    command.callback([options, &tool, action] {
        const auto platform = platform::makeHeadlessPlatform(tool.environment);
        action(*options, *platform, tool);
    });
}

void addCache(CLI::App& state, const std::shared_ptr<StateOptions>& options, Tool& tool) {
    CLI::App* const cache = state.add_subcommand("cache", "Keep bytes under a name");
    cache->require_subcommand(1);
    CLI::App* const put = cache->add_subcommand("put", "Save a file's bytes, or standard input's");
    put->add_option("NAME", options->name, "The cache's name")->required();
    put->add_option("FILE", options->file, "Where the bytes are; - is standard input")
        ->capture_default_str();
    put->footer(examples({"tessel state cache put covers.bin covers.bin --app Zorvane"}));
    run(*put, options, tool, putCache);
    CLI::App* const get = cache->add_subcommand("get", "Print the bytes; exit 1 without any");
    get->add_option("NAME", options->name, "The cache's name")->required();
    get->footer(examples({"tessel state cache get covers.bin --app Zorvane > covers.bin"}));
    run(*get, options, tool, getCache);
    CLI::App* const remove = cache->add_subcommand("rm", "Remove a cache; no error without one");
    remove->add_option("NAME", options->name, "The cache's name")->required();
    remove->footer(examples({"tessel state cache rm covers.bin --app Zorvane"}));
    run(*remove, options, tool, removeCache);
}

} // namespace

void addState(CLI::App& app, Tool& tool) {
    CLI::App* const state = app.add_subcommand("state", "An application's private folder");
    state->require_subcommand(1);
    const auto options = std::make_shared<StateOptions>();
    options->store = addStoreOptions(*state);
    CLI::App* const dir = state->add_subcommand("dir", "Make the folder and print its path");
    dir->footer(examples({"tessel state dir --app Zorvane",
                          "ZORVANE_STATE_DIR=~/other tessel state dir --app Zorvane"}));
    run(*dir, options, tool, makeFolder);
    addCache(*state, options, tool);
    CLI::App* const trash =
        state->add_subcommand("trash", "Set a file or folder aside; print its new path");
    trash->add_option("PATH", options->name, "What to move into the trash")->required();
    trash->footer(examples({"tessel state trash old.db --app Zorvane"}));
    run(*trash, options, tool, moveToTrash);
}

} // namespace tool
