// Installs one update, for a test that kills it on the way:
// zorvane-install-probe ARCHIVE BUNDLE IDENTIFIER VERSION KEY SIGNATURE, the last two in
// hexadecimal. Ends with 0 when the bundle was exchanged.
#include "platform/appcast/StagedUpdate.h"
#include "platform/posix/UniqueFd.h"
#include "tests/support/updates/TestBundle.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

namespace {

template <typename Bytes>
Bytes fromHexadecimal(const std::string& text) {
    Bytes bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(std::stoul(text.substr(2 * i, 2), nullptr, 16));
    }
    return bytes;
}

} // namespace

int main(int count, char** arguments) {
    using namespace platform::appcast;
    if (count != 7) {
        return 2;
    }
    const platform::posix::UniqueFd archive(::open(arguments[1], O_RDONLY | O_CLOEXEC));
    struct stat status{};
    if (::fstat(archive.get(), &status) != 0) {
        return 2;
    }
    removeLeftovers(arguments[2]);
    auto update = StagedUpdate::prepare(
        archive.get(),
        {.installed = arguments[2],
         .length = static_cast<std::uint64_t>(status.st_size),
         .signature = fromHexadecimal<Signature>(arguments[6]),
         .key = fromHexadecimal<PublicKey>(arguments[5]),
         .expected = {.identifier = arguments[3], .version = arguments[4], .runningProgram = {}},
         .readInfo = &test_support::readTestInfo});
    if (!update) {
        std::fputs(update.error().c_str(), stderr);
        return 1;
    }
    const auto activated = update->activate();
    return activated ? 0 : 1;
}
