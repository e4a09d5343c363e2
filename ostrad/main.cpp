#include "ostrad/HttpServer.h"
#include "ostrad/Options.h"
#include "ostrad/Site.h"
#include "ostrad/Version.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <vector>

namespace {

std::optional<std::string> environmentValue(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

int serve(const ostrad::Options& options) {
    ostrad::HttpServer server(options.address);
    ostrad::Site site(
        {.address = server.address(), .healthNonce = environmentValue("MEDIASERVER_HEALTH_NONCE")});
    const ostrad::ListenAddress& address = server.address();
    fmt::print("listening on http://{}:{}/\n", address.host == "::1" ? "[::1]" : address.host,
               address.port);
    std::fflush(stdout);
    server.run([&site](const ostrad::Request& request) { return site.handle(request); });
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string_view> arguments(argv + 1, argv + argc);
    const auto options = ostrad::parseOptions(arguments);
    if (!options) {
        fmt::print(stderr, "ostrad: {}\n", options.error());
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
    try {
        return serve(*options);
    } catch (const std::exception& error) {
        fmt::print(stderr, "ostrad: {}\n", error.what());
        return 1;
    }
}
