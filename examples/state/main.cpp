// A private folder for an application: bytes kept under a name, and a file set aside.
//
//     example_state FILE     keeps a copy of the file, then moves it into the trash
#include "mac/Tessel/State/StateStore.h"
#include "platform/Environment.h"
#include "platform/Headless.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: example_state FILE\n";
        return 2;
    }
    const auto environment = platform::currentEnvironment();
    const auto system = platform::makeHeadlessPlatform(environment);
    const tessel::StateStore store({.fileSystem = system->fileSystem(),
                                    .privateFiles = system->privateFiles(),
                                    .host = system->host(),
                                    .clock = system->clock()},
                                   "TesselExample", environment);
    if (const auto& failure = store.setUpFailure()) {
        std::cerr << failure->description() << '\n';
        return 1;
    }
    std::ifstream file(argv[1], std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    if (const auto saved = store.trySaveCache(content, "copy"); !saved) {
        std::cerr << saved.error().description() << '\n';
        return 1;
    }
    const auto moved = store.tryMoveToTrash(argv[1]);
    if (!moved) {
        std::cerr << moved.error().description() << '\n';
        return 1;
    }
    std::cout << "kept " << store.loadCache("copy").value_or("").size() << " bytes in "
              << store.cacheURL("copy").native() << '\n'
              << "moved to " << moved->native() << '\n';
}
