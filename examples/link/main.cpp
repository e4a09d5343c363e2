// Links this computer to an account: shows a code, waits until it is approved, keeps the token.
//
//     example_link https://account.example
#include "mac/Tessel/Link/DeviceLink.h"
#include "platform/Environment.h"
#include "platform/Headless.h"
#include "platform/RunLoop.h"

#include <csignal>
#include <iostream>
#include <memory>
#include <string>
#include <variant>

namespace {

volatile std::sig_atomic_t isInterrupted = 0;

std::string textOf(const tessel::Url& url) {
    return {url.buffer().data(), url.buffer().size()};
}

} // namespace

int main(int argc, char** argv) {
    const auto origin = argc == 2 ? tessel::parseUrl(argv[1]) : std::nullopt;
    if (!origin) {
        std::cerr << "usage: example_link ORIGIN\n";
        return 2;
    }
    std::signal(SIGINT, [](int) { isInterrupted = 1; });
    const auto environment = platform::currentEnvironment();
    // In the order in which they go: the link first, then what it uses.
    platform::RunLoop loop;
    const auto system = platform::makeHeadlessPlatform(environment);
    const auto store = std::make_shared<const tessel::StateStore>(
        tessel::StateStore::Facilities{.fileSystem = system->fileSystem(),
                                       .privateFiles = system->privateFiles(),
                                       .host = system->host(),
                                       .clock = system->clock()},
        "TesselExample", environment);
    const auto link = tessel::DeviceLink::create({.mainQueue = loop,
                                                  .backgroundQueues = system->backgroundQueues(),
                                                  .clock = system->clock(),
                                                  .host = system->host(),
                                                  .http = system->httpClient(),
                                                  .workspace = system->workspace()},
                                                 store, "TesselExample");
    bool isDone = false;
    int status = 1;
    link->onChange = [&] {
        if (const auto* const waiting = std::get_if<tessel::DeviceLink::Waiting>(&link->state())) {
            std::cout << "Confirm " << waiting->code << " at " << textOf(waiting->verifyUrl)
                      << std::endl;
        } else if (const auto* const failed =
                       std::get_if<tessel::DeviceLink::Failed>(&link->state())) {
            std::cerr << failed->message << '\n';
            isDone = true;
        }
    };
    link->onLinked = [&](const tessel::Credentials& credentials) {
        const auto kept = store->loadCredentials();
        const bool isKept = kept && kept->token == credentials.token;
        std::cout << (isKept ? "Linked as " : "Linked, but the token could not be kept: ")
                  << credentials.tokenName << '\n';
        status = isKept ? 0 : 1;
        isDone = true;
    };
    link->begin(*origin);
    loop.runUntil([&] { return isDone || isInterrupted != 0; });
    return isDone ? status : 130;
}
