// zorvane-window APPLICATION_ID [--no-sandbox]: started by the application, which speaks to it on
// standard input (platform/linux/connection/WindowInterface.xml). Ends when that connection does.
#include "platform/linux/window/ApplicationId.h"
#include "platform/linux/window/WindowProgram.h"

#include <fcntl.h>
#include <gtkmm/init.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <locale>
#include <string_view>

namespace {

// The socket becomes a descriptor that no other program inherits.
platform::posix::UniqueFd takeSocket() {
    int type = 0;
    socklen_t size = sizeof type;
    if (::getsockopt(STDIN_FILENO, SOL_SOCKET, SO_TYPE, &type, &size) != 0) {
        return {};
    }
    platform::posix::UniqueFd socket(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
    const platform::posix::UniqueFd nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (nothing) {
        ::dup2(nothing.get(), STDIN_FILENO);
    }
    return socket;
}

// The application has gone, and the connection to it: pages end in order then, also one that hangs.
void endSoon(int /*signal*/) {
    constexpr unsigned patienceSeconds = 2; // for a program that hangs itself
    ::alarm(patienceSeconds);
}

pid_t application = -1;

void endSoonIfAlone(int signal) {
    if (::getppid() != application) {
        endSoon(signal);
    }
}

// By the one signal that also reaches a program that was stopped.
void beWokenWhenTheApplicationEnds() {
    application = ::getppid();
    std::signal(SIGCONT, endSoonIfAlone);
    ::prctl(PR_SET_PDEATHSIG, SIGCONT);
}

// gtkmm makes the user's locale the global one of C++ too, with which streams would group digits.
void useLocaleForTextsOnly() {
    std::locale::global(std::locale::classic());
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_NUMERIC, "C");
}

// Only to say that there is no display.
void sayThatThereIsNoDisplay(platform::posix::UniqueFd socket) {
    using namespace platform::connection;
    const Calls none(Side::program);
    bool gone = false;
    PeerConnection connection(std::move(socket), none, {}, [&gone] { gone = true; });
    bool said = false;
    connection.ask<>("DisplayMissing", std::chrono::seconds(2),
                     [&said](std::optional<std::tuple<>> /*answer*/) { said = true; });
    while (!said && !gone) {
        g_main_context_iteration(nullptr, TRUE);
    }
}

} // namespace

int main(int count, char** arguments) {
    const bool mayUseSandbox = count < 3 || std::string_view(arguments[2]) != "--no-sandbox";
    platform::posix::UniqueFd socket = count < 2 ? platform::posix::UniqueFd() : takeSocket();
    if (!socket) {
        std::fputs("zorvane-window is started by the application it shows windows for.\n", stderr);
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGTERM, endSoon);
    beWokenWhenTheApplicationEnds();
    platform::gtk::SandboxCheck sandbox;
    g_set_prgname(arguments[1]); // until the application has told its name
    if (gtk_init_check() == FALSE) {
        sayThatThereIsNoDisplay(std::move(socket));
        return 1;
    }
    platform::gtk::setApplicationId(arguments[1]);
    Gtk::init_gtkmm_internals();
    useLocaleForTextsOnly();
    try {
        platform::gtk::WindowProgram(std::move(socket), sandbox, mayUseSandbox).run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zorvane-window: %s\n", error.what());
        return 1;
    }
    return 0;
}
