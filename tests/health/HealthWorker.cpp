// zorvane-health-worker ROOT crash|stress NUMBER: uses the health store as an application would
// and says on standard output what returned, one line each, before it goes on. "crash" is one
// course of operations; "stress" repeats NUMBER times what may meet another process.
#include "tests/health/HealthWorker.h"

#include "mac/Tessel/Health/AppHealthStore.h"
#include "platform/RandomSource.h"
#include "platform/posix/PosixDurableFiles.h"

#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <functional>
#include <string>
#include <string_view>

namespace {

void say(std::string_view line) {
    const std::string text = std::string(line) + "\n";
    if (::write(STDOUT_FILENO, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        std::_Exit(3);
    }
}

bool attempt(const std::string& what, const std::function<std::string()>& operation) {
    try {
        say(what + " done " + operation());
        return true;
    } catch (const std::exception& error) {
        say(what + " failed " + error.what());
        return false;
    }
}

int crashCourse(const std::string& root) {
    platform::PosixDurableFiles files;
    const auto random = platform::makeRandomSource();
    std::optional<tessel::AppHealthStore> store;
    const bool isOpen = attempt("open", [&] {
        store.emplace(root, files, *random, health_worker::historyLimit,
                      health_worker::pendingLimit);
        return root;
    });
    if (!isOpen) {
        return 0;
    }
    for (const int number : {3, 4}) {
        attempt("record", [&] { return store->record(health_worker::report(number)); });
    }
    attempt("state", [&] {
        store->saveState(health_worker::newState());
        return std::string();
    });
    attempt("submit", [&] {
        const auto entries = store->pendingEntries();
        if (entries.empty()) {
            return std::string("nothing");
        }
        store->markSubmitted(entries.front());
        return entries.front().file.filename().string();
    });
    return 0;
}

int stress(const std::string& root, int rounds) {
    platform::PosixDurableFiles files;
    const auto random = platform::makeRandomSource();
    for (int round = 0; round < rounds; ++round) {
        const bool isDone = attempt("round", [&] {
            tessel::AppHealthStore store(root, files, *random, health_worker::historyLimit,
                                         health_worker::pendingLimit);
            const auto key = store.record(
                health_worker::report(static_cast<int>(::getpid() % 1000) * 1000 + round));
            store.saveState(health_worker::newState());
            if (!store.latestReport() || store.loadState() != health_worker::newState()) {
                throw std::runtime_error("a file is neither old nor new");
            }
            return key;
        });
        if (!isDone) {
            return 1;
        }
    }
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 4) {
        return 2;
    }
    const std::string_view mode = arguments[2];
    return mode == "crash" ? crashCourse(arguments[1])
                           : stress(arguments[1], std::atoi(arguments[3]));
}
