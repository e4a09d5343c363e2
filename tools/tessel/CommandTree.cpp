#include "tools/tessel/CommandTree.h"

#include <utility>

namespace tool {
namespace {

CommandOption described(const CLI::Option& option) {
    CommandOption result;
    result.positional = option.get_positional();
    result.required = option.get_required();
    result.description = option.get_description();
    if (result.positional) {
        result.names = {option.get_name(true)};
        return result;
    }
    for (const std::string& name : option.get_snames()) {
        result.names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        result.names.push_back("--" + name);
    }
    if (option.get_items_expected_max() > 0) {
        result.value = option.get_type_name().empty() ? "VALUE" : option.get_type_name();
    }
    return result;
}

void add(const CLI::App& app, const std::vector<std::string>& path, std::vector<Command>& tree) {
    Command command;
    command.path = path;
    command.description = app.get_description();
    command.footer = app.get_footer();
    for (const CLI::Option* const option :
         app.get_options([](const CLI::Option* candidate) { return candidate != nullptr; })) {
        command.options.push_back(described(*option));
    }
    const auto subcommands = app.get_subcommands([](const CLI::App*) { return true; });
    for (const CLI::App* const subcommand : subcommands) {
        command.subcommands.push_back(subcommand->get_name());
    }
    tree.push_back(std::move(command));
    for (const CLI::App* const subcommand : subcommands) {
        std::vector<std::string> longer = path;
        longer.push_back(subcommand->get_name());
        add(*subcommand, longer, tree);
    }
}

} // namespace

std::vector<Command> commandTree(const CLI::App& app) {
    std::vector<Command> tree;
    add(app, {}, tree);
    return tree;
}

} // namespace tool
