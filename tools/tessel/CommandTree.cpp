#include "tools/tessel/CommandTree.h"

#include <algorithm>
#include <utility>

namespace tool {
namespace {

// CLI11 writes a choice as "NAME:{one,other}".
void splitChoices(CommandOption& option) {
    const auto open = option.value.find(":{");
    if (open == std::string::npos || !option.value.ends_with('}')) {
        return;
    }
    const std::string list = option.value.substr(open + 2, option.value.size() - open - 3);
    option.value.resize(open);
    for (std::size_t begin = 0; begin <= list.size();) {
        const auto end = std::min(list.find(',', begin), list.size());
        option.choices.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
}

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
        splitChoices(result);
    }
    return result;
}

// A group's own, without those that every command has for itself.
void addOptionsOfGroups(const CLI::App& app, std::vector<CommandOption>& options) {
    for (const CLI::App* group = app.get_parent(); group != nullptr; group = group->get_parent()) {
        for (const CLI::Option* const option : group->get_options(
                 [](const CLI::Option* candidate) { return candidate != nullptr; })) {
            if (option != group->get_help_ptr() && option != group->get_version_ptr()) {
                options.push_back(described(*option));
            }
        }
    }
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
    addOptionsOfGroups(app, command.options);
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
