// Where the state of an application lives: a line with its name, a line with the value of the
// overriding variable.
#include "fuzz/Fuzzing.h"
#include "mac/Tessel/State/StateStore.h"
#include "platform/Utf8.h"
#include "platform/testing/FakeHost.h"
#include "platform/testing/InMemoryPrivateFiles.h"
#include "platform/testing/InMemorySystem.h"

#include <string>

using fuzzing::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto input = fuzzing::textOf(data, size);
    const std::string name(fuzzing::takeLine(input));
    const std::string value(fuzzing::takeLine(input));
    const auto key = tessel::StateStore::defaultStateDirOverrideKey(name);
    require(key.ends_with("_STATE_DIR") && platform::isValidUtf8(key), "a key is text");
    require(key.find_first_of(" =-./") == std::string::npos, "a key names a variable");
    platform::testing::InMemoryFiles files;
    platform::testing::InMemoryPrivateFiles privateFiles;
    platform::testing::FakeHost host;
    platform::SystemClock clock;
    const tessel::StateStore store(
        {.fileSystem = files, .privateFiles = privateFiles, .host = host, .clock = clock}, name,
        {{key, value}});
    require(store.baseDir().native().starts_with('/'), "the folder is an absolute path");
    require(store.credentialsURL().native() == store.baseDir().native() + "/credentials.json",
            "the credentials are in it");
    store.saveCache(value, name);
    require(store.loadCache(name) == value, "a cache is found under its name");
    return 0;
}
