// Replaces a folder by a copy of another, for a test that stops it on the way: raises SIGUSR1
// first, so that the test knows from where to count. With "two-steps", as on a file system that
// cannot exchange names. Ends with 0 when the copy is in place.
#include "platform/posix/PosixFolderTree.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string_view>

namespace {

int cannotExchange(const char* /*one*/, const char* other) {
    return ::access(other, F_OK) == 0 ? EINVAL : ENOENT;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 4) {
        return 2;
    }
    const bool inTwoSteps = std::string_view(arguments[3]) == "two-steps";
    platform::PosixFolderTree trees(inTwoSteps ? cannotExchange : platform::posix::exchangeNames);
    ::raise(SIGUSR1);
    const bool done = trees.replaceWithCopy(arguments[1], arguments[2]).has_value();
    ::_exit(done ? 0 : 1);
}
