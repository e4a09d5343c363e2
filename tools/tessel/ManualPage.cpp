#include "tools/tessel/CommandTree.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <string_view>

namespace tool {
namespace {

// Text as roff takes it: no escapes, no requests at the beginning of a line, real minus signs.
std::string roff(std::string_view text) {
    std::string result;
    bool lineBegins = true;
    for (const char c : text) {
        if (lineBegins && (c == '.' || c == '\'')) {
            result += "\\&";
        }
        lineBegins = c == '\n';
        if (c == '\\') {
            result += "\\e";
        } else if (c == '-') {
            result += "\\-";
        } else {
            result += c;
        }
    }
    return result;
}

std::string synopsis(const Command& command) {
    std::string text =
        fmt::format(".B tessel {}\n", roff(fmt::format("{}", fmt::join(command.path, " "))));
    for (const CommandOption& option : command.options) {
        if (option.positional) {
            text += option.required ? fmt::format(".I {}\n", roff(option.names.front()))
                                    : fmt::format(".RI [ {} ]\n", roff(option.names.front()));
        } else if (option.required) {
            text += fmt::format(".B {}\n.I {}\n", roff(option.names.back()), roff(option.value));
        }
    }
    return text;
}

std::string optionEntry(const CommandOption& option) {
    std::string heading;
    if (option.positional) {
        heading = fmt::format(".I {}", roff(option.names.front()));
    } else {
        heading = fmt::format(".B {}", roff(fmt::format("{}", fmt::join(option.names, ", "))));
        if (!option.value.empty()) {
            heading += fmt::format(" \\fI{}\\fR", roff(option.value));
        }
    }
    std::string text = fmt::format(".TP\n{}\n{}\n", heading, roff(option.description));
    if (!option.choices.empty()) {
        text += roff(fmt::format("(one of {})\n", fmt::join(option.choices, ", ")));
    }
    return text;
}

std::string section(const Command& command) {
    std::string text = fmt::format(".SS {}\n{}.PP\n{}.\n",
                                   roff(fmt::format("tessel {}", fmt::join(command.path, " "))),
                                   synopsis(command), roff(command.description));
    for (const CommandOption& option : command.options) {
        text += optionEntry(option);
    }
    if (!command.footer.empty()) {
        text += fmt::format(".PP\n.nf\n{}\n.fi\n", roff(command.footer));
    }
    return text;
}

} // namespace

std::string manualPage(const std::vector<Command>& commands, const std::string& version) {
    std::string text =
        fmt::format(".TH TESSEL 1 \"\" \"tessel {}\"\n"
                    ".SH NAME\ntessel \\- the Tessel support library from the command line\n"
                    ".SH SYNOPSIS\n.B tessel\n.I COMMAND\n[options]\n"
                    ".SH DESCRIPTION\n{}\n"
                    ".SH COMMANDS\n",
                    roff(version), roff(commands.front().description));
    for (const Command& command : commands) {
        if (!command.path.empty() && command.subcommands.empty()) {
            text += section(command);
        }
    }
    return text + ".SH EXIT STATUS\n"
                  "0 for success, 1 for a negative answer or a failure, 2 for wrong usage,\n"
                  "130 after Ctrl\\-C (143 after SIGTERM), and 141 when the reader of standard\n"
                  "output has gone.\n"
                  ".SH ENVIRONMENT\n"
                  ".TP\n.B NAME_STATE_DIR\nThe private folder of the application NAME, in "
                  "capitals.\n"
                  ".TP\n.B NO_COLOR\nWhen it is set and not empty, nothing is coloured.\n";
}

} // namespace tool
