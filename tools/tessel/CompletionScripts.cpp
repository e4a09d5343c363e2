// The completion scripts share one idea: the words before the cursor are followed down the tree as
// long as they name subcommands; at the place reached, its subcommands and options are offered,
// and files where it takes arguments. After an option that takes one of a few words, these are.
#include "tools/tessel/CommandTree.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace tool {
namespace {

std::string joined(const std::vector<std::string>& words, std::string_view separator = " ") {
    return fmt::format("{}", fmt::join(words, separator));
}

std::vector<std::string> dashed(const Command& command) {
    std::vector<std::string> names;
    for (const CommandOption& option : command.options) {
        if (!option.positional) {
            names.insert(names.end(), option.names.begin(), option.names.end());
        }
    }
    return names;
}

std::vector<std::string> offered(const Command& command) {
    std::vector<std::string> words = command.subcommands;
    const auto options = dashed(command);
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

// For single quotes of POSIX shells and fish alike: descriptions never hold a backslash.
std::string singleQuoted(std::string_view text) {
    std::string result = "'";
    for (const char c : text) {
        if (c == '\'') {
            result += "'\\''";
        } else {
            result += c;
        }
    }
    return result + "'";
}

std::string descriptionOf(const std::vector<Command>& commands, const Command& parent,
                          const std::string& name) {
    std::vector<std::string> path = parent.path;
    path.push_back(name);
    const auto found = std::ranges::find(commands, path, &Command::path);
    return found == commands.end() ? "" : found->description;
}

// The shell function that both POSIX-like shells use to find the place: it prints the path.
std::string pathFunction(const std::vector<Command>& commands) {
    std::string text = "_tessel_path() {\n"
                       "  local here='' word\n"
                       "  for word in \"$@\"; do\n"
                       "    case \"$here $word\" in\n";
    for (const Command& command : commands) {
        if (!command.path.empty()) {
            text += fmt::format("      ' {0}') here=' {0}' ;;\n", joined(command.path));
        }
    }
    return text + "    esac\n"
                  "  done\n"
                  "  printf '%s' \"$here\"\n"
                  "}\n";
}

// The options whose argument is one of a few words, each once.
std::vector<CommandOption> choosers(const std::vector<Command>& commands) {
    std::vector<CommandOption> found;
    for (const Command& command : commands) {
        for (const CommandOption& option : command.options) {
            if (!option.choices.empty() &&
                std::ranges::find(found, option.names, &CommandOption::names) == found.end()) {
                found.push_back(option);
            }
        }
    }
    return found;
}

// The arms of a shell's `case` on the word before the cursor; {} in the action are the words to
// offer.
std::string choicesAfter(const std::vector<Command>& commands, std::string_view action) {
    std::string text;
    for (const CommandOption& option : choosers(commands)) {
        const std::string words = joined(option.choices);
        text += fmt::format("    {}) ", joined(option.names, "|"));
        text += fmt::format(fmt::runtime(action), words);
        text += " ;;\n";
    }
    return text;
}

std::string fishArgument(const CommandOption& option) {
    if (!option.choices.empty()) {
        return " -x -a " + singleQuoted(joined(option.choices));
    }
    return option.value.empty() ? "" : " -r";
}

} // namespace

std::string bashCompletion(const std::vector<Command>& commands) {
    std::string text =
        "# bash completion for tessel\n" + pathFunction(commands) +
        "_tessel() {\n"
        "  local words=''\n"
        "  case \"${COMP_WORDS[COMP_CWORD-1]}\" in\n" +
        choicesAfter(commands, "words='{}'") +
        "  esac\n"
        "  [ -n \"$words\" ] || case \"$(_tessel_path \"${COMP_WORDS[@]:1:COMP_CWORD-1}\")\" in\n";
    for (const Command& command : commands) {
        const std::string path = command.path.empty() ? "" : " " + joined(command.path);
        text += fmt::format("    '{}') words='{}' ;;\n", path, joined(offered(command)));
    }
    return text + "  esac\n"
                  "  COMPREPLY=($(compgen -W \"$words\" -- \"${COMP_WORDS[COMP_CWORD]}\"))\n"
                  "}\n"
                  "complete -o default -F _tessel tessel\n";
}

std::string zshCompletion(const std::vector<Command>& commands) {
    std::string text = "#compdef tessel\n" + pathFunction(commands) +
                       "_tessel() {\n"
                       "  local -a offers\n"
                       "  case \"${words[CURRENT-1]}\" in\n" +
                       choicesAfter(commands, "compadd {}; return") +
                       "  esac\n"
                       "  case \"$(_tessel_path \"${(@)words[2,CURRENT-1]}\")\" in\n";
    for (const Command& command : commands) {
        const std::string path = command.path.empty() ? "" : " " + joined(command.path);
        text += fmt::format("    '{}') offers=(", path);
        for (const std::string& name : command.subcommands) {
            text += fmt::format(" {}",
                                singleQuoted(name + ":" + descriptionOf(commands, command, name)));
        }
        for (const CommandOption& option : command.options) {
            for (const std::string& name : option.names) {
                if (!option.positional) {
                    text += fmt::format(" {}", singleQuoted(name + ":" + option.description));
                }
            }
        }
        text += " ) ;;\n";
    }
    return text + "  esac\n"
                  "  _describe -o 'tessel' offers\n"
                  "  _files\n"
                  "}\n"
                  "if [ \"$funcstack[1]\" = _tessel ]; then\n"
                  "  _tessel \"$@\"\n"
                  "else\n"
                  "  compdef _tessel tessel\n"
                  "fi\n";
}

std::string fishCompletion(const std::vector<Command>& commands) {
    std::string text = "# fish completion for tessel\n"
                       "function __tessel_at\n"
                       "  set -l here\n"
                       "  for word in (commandline -opc)[2..-1]\n"
                       "    switch \"$here $word\"\n";
    for (const Command& command : commands) {
        if (!command.path.empty()) {
            text +=
                fmt::format("      case ' {0}'\n        set here ' {0}'\n", joined(command.path));
        }
    }
    text += "    end\n"
            "  end\n"
            "  test \"$here\" = \"$argv[1]\"\n"
            "end\n";
    for (const Command& command : commands) {
        const std::string at = singleQuoted(fmt::format(
            "__tessel_at \"{}\"", command.path.empty() ? "" : " " + joined(command.path)));
        for (const std::string& name : command.subcommands) {
            text += fmt::format("complete -c tessel -f -n {} -a {} -d {}\n", at, name,
                                singleQuoted(descriptionOf(commands, command, name)));
        }
        for (const CommandOption& option : command.options) {
            if (option.positional) {
                continue;
            }
            std::string flags;
            for (const std::string& name : option.names) {
                flags += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
            }
            text += fmt::format("complete -c tessel -n {}{}{} -d {}\n", at, flags,
                                fishArgument(option), singleQuoted(option.description));
        }
    }
    return text;
}

} // namespace tool
