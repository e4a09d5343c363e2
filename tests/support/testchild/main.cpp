// zorvane-testchild: see TestChild.h.
#include "tests/support/testchild/Cues.h"

#include <span>

int main(int count, char** arguments) {
    const std::span<char*> all(arguments, static_cast<std::size_t>(count));
    const auto commandLine = testchild::readCommandLine(all);
    const auto plan = testchild::perform(commandLine, all);
    if (commandLine.address && !commandLine.wantsVersion) {
        testchild::serveHealth(*commandLine.address, plan);
    }
    return 0;
}
