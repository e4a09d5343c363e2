// tessel web and tessel script: a web application in a window, and the scripts its pages get.
#include "mac/Tessel/WebApp/WebAppScripts.h"
#include "platform/ErrnoText.h"
#include "platform/Headless.h"
#include "tools/tessel/Output.h"
#include "tools/tessel/Tool.h"
#include "tools/tessel/WebAppDocument.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

namespace tool {
namespace {

struct WebOptions {
    std::string file;
    bool reveal = false;
    bool noSandbox = false;
};

using Script = std::string (*)(const tessel::WebAppConfig&);

// The window is a program of its own: the other commands start without a toolkit.
constexpr const char* windowProgram = "tessel-web";
// What that program has its windows shown by, where windows live in a process of their own.
constexpr const char* toolkitProgram = "zorvane-window";

std::optional<std::filesystem::path> find(const char* program,
                                          const std::vector<std::filesystem::path>& places) {
    for (const auto& place : places) {
        std::error_code failed;
        if (std::filesystem::is_regular_file(place / program, failed)) {
            return place / program;
        }
    }
    return std::nullopt;
}

std::optional<std::filesystem::path> findWindowProgram(const std::filesystem::path& executable) {
    const auto folder = executable.parent_path();
    return find(windowProgram, {folder, folder / TESSEL_PROGRAMS_FOLDER});
}

std::string findToolkitProgram(const std::filesystem::path& executable) {
    const auto folder = executable.parent_path();
    const std::filesystem::path inBundle = "Zorvane.app/Contents/MacOS";
    return find(toolkitProgram,
                {folder, folder / ".." / inBundle, folder / TESSEL_PROGRAMS_FOLDER / inBundle})
        .value_or(toolkitProgram)
        .native();
}

void openWindow(const WebOptions& options, Tool& tool) {
    const auto executable = platform::makeHeadlessPlatform(tool.environment)->executablePath();
    const auto program = findWindowProgram(executable);
    if (!program) {
        tool.fail(fmt::format(
            "{} is missing: it is looked for in {} and in {}", windowProgram,
            executable.parent_path().native(),
            (executable.parent_path() / TESSEL_PROGRAMS_FOLDER).lexically_normal().native()));
        return;
    }
    std::string path = program->native();
    std::string option = options.reveal ? "--reveal" : "--conceal";
    std::string sandbox = options.noSandbox ? "--no-sandbox" : "--sandbox";
    std::string file = options.file;
    std::string toolkit = findToolkitProgram(executable);
    const std::array<char*, 6> arguments{path.data(), option.data(),  sandbox.data(),
                                         file.data(), toolkit.data(), nullptr};
    ::execv(path.c_str(), arguments.data());
    tool.fail(fmt::format("cannot start {}: {}", path, platform::errnoText(errno)));
}

void printScript(const WebOptions& options, Script script, Tool& tool) {
    const auto config = readWebAppFile(options.file);
    if (!config) {
        tool.refuse(config.error());
        return;
    }
    const std::string text = script(*config);
    printText(text);
}

std::shared_ptr<WebOptions> addConfig(CLI::App& command) {
    auto options = std::make_shared<WebOptions>();
    command.add_option("CONFIG", options->file, "The web application: a JSON file, or -")
        ->required();
    return options;
}

void addScript(CLI::App& group, const char* name, const char* description, Script script,
               Tool& tool) {
    CLI::App* const command = group.add_subcommand(name, description);
    const auto options = addConfig(*command);
    command->footer(examples({fmt::format("tessel script {} studio.json", name)}));
    command->callback([options, script, &tool] { printScript(*options, script, tool); });
}

constexpr std::string_view documentHelp =
    R"(CONFIG is a JSON object with all of these members:
  origin            URL of the application; its host and port
  startPath         what is loaded first, relative to the origin
  needsToken        true when the page shall mint a token
  deviceName        how the page may call this device
  windowTitle       the title until a page has one
  authHosts         array of further host names whose pages stay in the window
  mintPath          where the page asks for a token
  clientFlagGlobal, deviceGlobal, needsTokenGlobal
                    names of the page's globals: true, the name, needsToken
  bridgeName        name of the script message handler
  appCookieName     name of the cookie that is set to 1
  appHeaderName     name of the header that goes with the request for a token
  userAgent         what the window calls itself

A link to another host opens in the browser. Each token that a page mints is one
line of JSON: {"event":"linked","origin":"..."}; with --reveal it has the token.
Closing the window ends the command. An application that is open already is
brought to the front instead. Its cookies and storage are kept between runs.
On a Linux system that lets nobody make namespaces, pages have no sandbox: those of
this computer (localhost, 127.0.0.1, ::1) are shown all the same, those of any other
host only with --no-sandbox.
The window is a program of its own, tessel-web, beside tessel or in
)" TESSEL_PROGRAMS_FOLDER " from there.\n";

} // namespace

void addWeb(CLI::App& app, Tool& tool) {
    CLI::App* const web =
        app.add_subcommand("web", "Show a web application in a window; print what it links");
    const auto options = addConfig(*web);
    web->add_flag("--reveal", options->reveal, "Print the tokens too");
    web->add_flag("--no-sandbox", options->noSandbox,
                  "Show its pages without the web engine's sandbox");
    web->footer(std::string(documentHelp) + "\n" +
                examples({"tessel web studio.json", "tessel web --reveal studio.json"}));
    web->callback([options, &tool] { openWindow(*options, tool); });

    CLI::App* const script = app.add_subcommand(
        "script", "Print a script that a web application's pages get, byte for byte");
    script->require_subcommand(1);
    addScript(*script, "bootstrap", "What runs before a page's own scripts",
              &tessel::bootstrapScript, tool);
    addScript(*script, "mint", "What asks for a token once a page is loaded", &tessel::mintScript,
              tool);
}

} // namespace tool
