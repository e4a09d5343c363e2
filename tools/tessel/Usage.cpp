#include "tools/tessel/Usage.h"

#include <CLI/Formatter.hpp>
#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <utility>

namespace tool {
namespace {

// Optimal string alignment: insertions, deletions, replacements and exchanges of neighbours.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> cost(a.size() + 1,
                                               std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = a[i - 1] == b[j - 1] ? 0 : 1;
            cost[i][j] =
                std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[a.size()][b.size()];
}

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* const command :
         app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

// Of the command and of the groups it belongs to.
std::vector<const CLI::Option*> optionsOf(const CLI::App& app) {
    std::vector<const CLI::Option*> all;
    for (const CLI::App* at = &app; at != nullptr; at = at->get_parent()) {
        const auto options =
            at->get_options([](const CLI::Option* option) { return option != nullptr; });
        all.insert(all.end(), options.begin(), options.end());
    }
    return all;
}

std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* const option : optionsOf(app)) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
        for (const std::string& name : option->get_snames()) {
            names.push_back("-" + name);
        }
    }
    return names;
}

const CLI::Option* findOption(const CLI::App& app, const std::string& name) {
    for (const CLI::Option* const option : optionsOf(app)) {
        if (!option->get_positional() && option->check_name(name)) {
            return option;
        }
    }
    return nullptr;
}

std::string withSuggestion(std::string sentence, const std::string& word,
                           const std::vector<std::string>& known) {
    if (const auto meant = nearest(word, known)) {
        sentence += fmt::format("; did you mean \"{}\"?", *meant);
    }
    return sentence;
}

std::string unknownCommand(const CLI::App& group, const std::string& word) {
    return withSuggestion(fmt::format("{} has no command \"{}\"", fullName(group), word), word,
                          commandNames(group));
}

std::string unknownOption(const CLI::App& command, const std::string& name) {
    return withSuggestion(fmt::format("{} has no option \"{}\"", fullName(command), name), name,
                          optionNames(command));
}

bool takesValue(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

// Follows a command line and stops at the first word that no command knows.
class Walk {
  public:
    explicit Walk(const CLI::App& app)
        : at_(&app) {}

    // Empty when every word is known.
    [[nodiscard]] std::string along(const std::vector<std::string>& words) {
        bool isValue = false;
        for (const std::string& word : words) {
            if (std::exchange(isValue, false)) {
                continue;
            }
            if (word == "--") {
                break;
            }
            if (word.size() > 1 && word.front() == '-') {
                const std::string name = word.substr(0, word.find('='));
                const CLI::Option* const option = findOption(*at_, name);
                const bool isBundle = name.size() > 2 && name[1] != '-';
                if (option == nullptr && !isBundle) {
                    return unknownOption(*at_, name);
                }
                isValue = option != nullptr && takesValue(*option) && name == word;
            } else if (std::string wrong = into(word); !wrong.empty()) {
                return wrong;
            }
        }
        const auto missing = commandNames(*at_);
        return missing.empty() ? ""
                               : fmt::format("{} needs a command: {}", fullName(*at_),
                                             fmt::join(missing, ", "));
    }

    [[nodiscard]] std::string into(const std::string& word) {
        const auto names = commandNames(*at_);
        if (names.empty()) {
            return {}; // a positional argument
        }
        if (std::ranges::find(names, word) == names.end()) {
            return unknownCommand(*at_, word);
        }
        at_ = at_->get_subcommand(word);
        return {};
    }

    [[nodiscard]] const CLI::App& at() const { return *at_; }

  private:
    const CLI::App* at_;
};

class HelpText : public CLI::Formatter {
  public:
    std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override {
        std::string text;
        for (const CLI::App* group = app->get_parent(); group != nullptr;
             group = group->get_parent()) {
            const auto options = group->get_options([group](const CLI::Option* option) {
                return option->nonpositional() && option != group->get_help_ptr() &&
                       option != group->get_version_ptr();
            });
            if (!options.empty()) {
                text += make_group("Options of " + fullName(*group), false, options);
            }
        }
        return text + Formatter::make_subcommands(app, mode);
    }
};

// CLI11 writes some refusals over several lines, and ends some with a full stop or a line feed.
std::string asOneSentence(const std::string& refusal) {
    std::string text = refusal.substr(0, refusal.find('\n'));
    while (!text.empty() && (text.back() == '.' || text.back() == ' ')) {
        text.pop_back();
    }
    return text;
}

} // namespace

std::optional<std::string> nearest(std::string_view word, const std::vector<std::string>& known) {
    const std::string* best = nullptr;
    std::size_t bestDistance = std::max<std::size_t>(1, word.size() / 3) + 1;
    for (const std::string& name : known) {
        const std::size_t far = distance(word, name);
        if (far < bestDistance) {
            best = &name;
            bestDistance = far;
        }
    }
    if (best == nullptr && word.size() > 1) {
        const auto longer = std::ranges::find_if(
            known, [word](const std::string& name) { return name.starts_with(word); });
        best = longer == known.end() ? nullptr : &*longer;
    }
    return best == nullptr ? std::nullopt : std::optional(*best);
}

Way followWords(const CLI::App& app, const std::vector<std::string>& words) {
    Walk walk(app);
    for (const std::string& word : words) {
        if (commandNames(walk.at()).empty()) {
            return {.command = nullptr, .wrong = unknownCommand(walk.at(), word)};
        }
        if (std::string wrong = walk.into(word); !wrong.empty()) {
            return {.command = nullptr, .wrong = std::move(wrong)};
        }
    }
    return {.command = &walk.at(), .wrong = {}};
}

std::string describeWrongUsage(const CLI::App& app, const std::vector<std::string>& arguments,
                               const std::string& refusal) {
    Walk walk(app);
    std::string wrong = walk.along(arguments);
    if (wrong.empty()) {
        wrong = asOneSentence(refusal);
    }
    return fmt::format("{} (see \"{} --help\")", wrong, fullName(walk.at()));
}

std::string fullName(const CLI::App& command) {
    return command.get_parent() == nullptr
               ? command.get_name()
               : fullName(*command.get_parent()) + " " + command.get_name();
}

std::string helpOf(const CLI::App& command) {
    return HelpText().make_help(&command, fullName(command), CLI::AppFormatMode::Normal);
}

CLI::Validator pathComponent() {
    return {[](std::string& name) -> std::string {
                const bool isOne = !name.empty() && name != "." && name != ".." &&
                                   name.find('/') == std::string::npos;
                return isOne ? "" : fmt::format("\"{}\" cannot be a folder's name", name);
            },
            ""};
}

CLI::Validator atLeastOne() {
    return {[](std::string& text) -> std::string {
                int value = 0;
                const char* const end = text.data() + text.size();
                const auto [rest, error] = std::from_chars(text.data(), end, value);
                const bool isOne = error == std::errc{} && rest == end && value >= 1;
                return isOne ? "" : fmt::format("\"{}\" is no whole number from 1 up", text);
            },
            ""};
}

} // namespace tool
