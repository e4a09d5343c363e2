#include "platform/posix/PlaceTree.h"

#include "platform/posix/CopyTree.h"
#include "platform/posix/FlushFile.h"
#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace platform::posix {
namespace {

// A folder that cannot be flushed only delays the safety of what is in place already.
void flush(const std::filesystem::path& folder) {
    const UniqueFd open(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (open) {
        (void)flushFile(open.get());
    }
}

int moveTo(const std::filesystem::path& from, const std::filesystem::path& to) {
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

int placeInTwoSteps(const std::filesystem::path& prepared,
                    const std::filesystem::path& destination) {
    // The name is all that is wanted; renaming puts the old tree in the empty folder's place, or,
    // when it is no folder, needs that one gone.
    std::string name = hiddenSibling(destination, "old").native() + "XXXXXX";
    if (::mkdtemp(name.data()) == nullptr || ::rmdir(name.c_str()) != 0) {
        return errno;
    }
    if (const int error = moveTo(destination, name); error != 0) {
        return error;
    }
    if (const int error = moveTo(prepared, destination); error != 0) {
        (void)moveTo(name, destination);
        return error;
    }
    flush(destination.parent_path());
    // Under a name from which nothing is ever put back, since the removal may be interrupted.
    removeTree(moveTo(name, prepared) == 0 ? prepared : std::filesystem::path(name));
    return 0;
}

} // namespace

std::filesystem::path hiddenSibling(const std::filesystem::path& destination,
                                    std::string_view kind) {
    std::string name = "." + destination.filename().native();
    name.append(".").append(kind).append("-");
    return destination.parent_path() / name;
}

int placeTree(const std::filesystem::path& prepared, const std::filesystem::path& destination,
              ExchangeNames exchange) {
    const int error = exchange(prepared.c_str(), destination.c_str());
    if (error == 0) {
        flush(destination.parent_path());
        removeTree(prepared);
        return 0;
    }
    if (error == ENOENT) {
        const int moved = moveTo(prepared, destination);
        if (moved == 0) {
            flush(destination.parent_path());
        }
        return moved;
    }
    if (error == EINVAL || error == ENOSYS || error == ENOTSUP) {
        return placeInTwoSteps(prepared, destination);
    }
    return error;
}

} // namespace platform::posix
