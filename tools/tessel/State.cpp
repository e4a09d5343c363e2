// tessel state: an application's private folder, its caches and its trash.
#include "tools/tessel/FileContent.h"
#include "tools/tessel/OpenStore.h"
#include "tools/tessel/Tool.h"

#include <fmt/format.h>

#include <cstdio>

namespace tool {
namespace {

struct Options {
    std::shared_ptr<StoreOptions> store;
    std::string name;
    std::string file = "-";
};

void putCache(const tessel::StateStore& store, const Options& options, Tool& tool) {
    const auto content = contentOf(options.file);
    if (!content) {
        tool.fail(content.error());
        return;
    }
    store.saveCache(*content, options.name);
    if (store.loadCache(options.name) != *content) {
        tool.fail(fmt::format("cannot write {}", store.cacheURL(options.name).native()));
    }
}

void getCache(const tessel::StateStore& store, const Options& options, Tool& tool) {
    const auto content = store.loadCache(options.name);
    if (!content) {
        tool.fail(fmt::format("there is no cache {}", options.name));
        return;
    }
    std::fwrite(content->data(), 1, content->size(), stdout);
}

void moveToTrash(const tessel::StateStore& store, const Options& options, Tool& tool) {
    const auto moved = store.moveToTrash(options.name);
    if (!moved) {
        tool.fail(fmt::format("cannot move {} to the trash", options.name));
        return;
    }
    fmt::print("{}\n", moved->native());
}

using Action = void (*)(const tessel::StateStore&, const Options&, Tool&);

void run(CLI::App& command, const std::shared_ptr<Options>& options, Tool& tool, Action action) {
    command.callback([options, &tool, action] {
        const auto platform = platform::makeHeadlessPlatform(tool.environment);
        action(openStore(*options->store, *platform, tool.environment), *options, tool);
    });
}

void addCache(CLI::App& state, const std::shared_ptr<Options>& options, Tool& tool) {
    CLI::App* const cache = state.add_subcommand("cache", "Keep bytes under a name");
    cache->require_subcommand(1);
    CLI::App* const put = cache->add_subcommand("put", "Save a file's bytes, or standard input's");
    put->add_option("NAME", options->name, "The cache's name")->required();
    put->add_option("FILE", options->file, "Where the bytes are; - is standard input")
        ->capture_default_str();
    put->footer(examples({"tessel state --app Zorvane cache put covers.bin covers.bin"}));
    run(*put, options, tool, putCache);
    CLI::App* const get = cache->add_subcommand("get", "Print the bytes; exit 1 without any");
    get->add_option("NAME", options->name, "The cache's name")->required();
    get->footer(examples({"tessel state --app Zorvane cache get covers.bin > covers.bin"}));
    run(*get, options, tool, getCache);
    CLI::App* const remove = cache->add_subcommand("rm", "Remove a cache; no error without one");
    remove->add_option("NAME", options->name, "The cache's name")->required();
    remove->footer(examples({"tessel state --app Zorvane cache rm covers.bin"}));
    run(*remove, options, tool, [](const auto& store, const auto& given, Tool& /*tool*/) {
        store.removeCache(given.name);
    });
}

} // namespace

void addState(CLI::App& app, Tool& tool) {
    CLI::App* const state = app.add_subcommand("state", "An application's private folder");
    state->require_subcommand(1);
    const auto options = std::make_shared<Options>();
    options->store = addStoreOptions(*state);
    CLI::App* const dir = state->add_subcommand("dir", "Make the folder and print its path");
    dir->footer(examples({"tessel state --app Zorvane dir",
                          "ZORVANE_STATE_DIR=~/other tessel state --app Zorvane dir"}));
    run(*dir, options, tool, [](const auto& store, const auto& /*given*/, Tool& /*tool*/) {
        fmt::print("{}\n", store.baseDir().native());
    });
    addCache(*state, options, tool);
    CLI::App* const trash =
        state->add_subcommand("trash", "Set a file or folder aside; print its new path");
    trash->add_option("PATH", options->name, "What to move into the trash")->required();
    trash->footer(examples({"tessel state --app Zorvane trash old.db"}));
    run(*trash, options, tool, moveToTrash);
}

} // namespace tool
