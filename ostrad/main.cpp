#include "ostrad/AccountLink.h"
#include "ostrad/Artwork.h"
#include "ostrad/Catalogue.h"
#include "ostrad/DeviceLinks.h"
#include "ostrad/HttpServer.h"
#include "ostrad/Log.h"
#include "ostrad/Options.h"
#include "ostrad/Scanner.h"
#include "ostrad/Site.h"
#include "ostrad/ToolProcess.h"
#include "ostrad/Version.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <vector>

namespace {

std::optional<std::string> environmentValue(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr || *value == '\0' ? std::nullopt : std::optional<std::string>(value);
}

std::string hostName() {
    std::array<char, 256> name{};
    if (::gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') {
        return "This computer";
    }
    return name.data();
}

// A tool that is not there costs its feature, not the server.
std::string usableTool(const std::string& path) {
    if (!path.empty() && ::access(path.c_str(), X_OK) != 0) {
        ostrad::logLine(fmt::format("{} cannot be run; going on without it", path));
        return {};
    }
    return path;
}

std::optional<ostrad::Artwork> openArtwork(const std::string& ffmpeg) {
    const auto folder = environmentValue("MEDIASERVER_ARTWORK_DIR");
    if (!folder) {
        return std::nullopt;
    }
    try {
        return ostrad::Artwork(*folder, ffmpeg);
    } catch (const std::exception& error) {
        ostrad::logLine(fmt::format("no artwork: {}", error.what()));
        return std::nullopt;
    }
}

// Whoever started us may have ignored SIGCHLD, which hides how a tool ended, and blocked what ends
// us. A reader of our output that went away and a file that may not grow end nothing.
void prepareSignals() {
    std::signal(SIGCHLD, SIG_DFL);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

int serve(const ostrad::Options& options) {
    ostrad::Catalogue catalogue(options.databasePath);
    ostrad::HttpServer server(options.address);
    const ostrad::ListenAddress& address = server.address();

    const bool usesTools = !options.ffmpegPath.empty() || !options.ffprobePath.empty() ||
                           !options.fpcalcPath.empty() || !options.pluginsPath.empty();
    if (usesTools && !ostrad::canConfineTools()) {
        ostrad::logLine("this system cannot keep tools from the network or from starting programs");
    }
    ostrad::WriteTurn turn;
    const std::string ffmpeg = usableTool(options.ffmpegPath);
    const std::string ffprobe = usableTool(options.ffprobePath);
    const auto artwork = openArtwork(ffmpeg);
    const bool draws = artwork && artwork->canDraw();
    ostrad::Scanner scanner(options.databasePath, turn,
                            {.ffprobe = ffprobe,
                             .fpcalc = usableTool(options.fpcalcPath),
                             .plugins = options.pluginsPath,
                             .artwork = draws ? &*artwork : nullptr});
    ostrad::AccountLink account(
        catalogue, [] { return std::chrono::steady_clock::now(); }, ostrad::systemRandomBelow);
    ostrad::DeviceLinks devices([] { return std::chrono::steady_clock::now(); },
                                ostrad::systemRandomBelow);
    ostrad::Site site({.address = address,
                       .healthNonce = environmentValue("MEDIASERVER_HEALTH_NONCE"),
                       .serverName = hostName(),
                       .artworkPath = artwork ? artwork->path() : std::string(),
                       .ffmpeg = ffmpeg,
                       .ffprobe = ffprobe},
                      catalogue, scanner, account, devices, turn);
    scanner.scanAll();

    fmt::print("listening on http://{}:{}/\n", address.host == "::1" ? "[::1]" : address.host,
               address.port);
    std::fflush(stdout);
    server.run([&site](const ostrad::Request& request) { return site.handle(request); });
    scanner.stop();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string_view> arguments(argv + std::min(argc, 1), argv + argc);
    const auto options = ostrad::parseOptions(arguments);
    if (!options) {
        ostrad::logLine(options.error());
        return 2;
    }
    switch (options->action) {
    case ostrad::Options::Action::printVersion:
        fmt::print("{}\n", ostrad::kVersion);
        return 0;
    case ostrad::Options::Action::printHelp:
        fmt::print("{}", ostrad::helpText());
        return 0;
    case ostrad::Options::Action::serve:
        break;
    }
    ::umask(077); // the database, its journal and the artwork are the user's alone
    prepareSignals();
    try {
        return serve(*options);
    } catch (const std::exception& error) {
        ostrad::logLine(error.what());
        return 1;
    }
}
