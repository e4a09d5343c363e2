// Whether a display is there, asked without a toolkit.
#include "platform/linux/DisplaySocket.h"

#include "platform/posix/UniqueFd.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <string>

namespace {

using platform::desktop::displayTrouble;

platform::posix::UniqueFd listenAt(const std::string& path) {
    platform::posix::UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    EXPECT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::listen(socket.get(), 1), 0);
    return socket;
}

TEST(DisplaySocket, namesWhatIsMissing) {
    EXPECT_EQ(displayTrouble({}), "no usable display (DISPLAY and WAYLAND_DISPLAY are not set)");
    EXPECT_EQ(displayTrouble({{"DISPLAY", ":59999"}}),
              "no usable display (DISPLAY is \":59999\", WAYLAND_DISPLAY is not set)");
    EXPECT_TRUE(displayTrouble({{"DISPLAY", "nonsense"}}));
    EXPECT_TRUE(displayTrouble({{"DISPLAY", ":x"}}));
    EXPECT_TRUE(displayTrouble({{"WAYLAND_DISPLAY", "wayland-0"}}));
}

TEST(DisplaySocket, takesADisplayOfAnotherMachineToBeThere) {
    EXPECT_FALSE(displayTrouble({{"DISPLAY", "elsewhere:10.0"}}));
}

TEST(DisplaySocket, findsACompositorByNameAndByPathUntilItGoes) {
    const test_support::TemporaryFolder folder;
    const std::string runtime = folder.path().native();
    {
        const auto compositor = listenAt(runtime + "/wayland-7");
        EXPECT_FALSE(
            displayTrouble({{"WAYLAND_DISPLAY", "wayland-7"}, {"XDG_RUNTIME_DIR", runtime}}));
        EXPECT_FALSE(displayTrouble({{"WAYLAND_DISPLAY", runtime + "/wayland-7"}}));
    }
    EXPECT_TRUE(displayTrouble({{"WAYLAND_DISPLAY", "wayland-7"}, {"XDG_RUNTIME_DIR", runtime}}))
        << "the file is still there, but nobody listens";
}

} // namespace
