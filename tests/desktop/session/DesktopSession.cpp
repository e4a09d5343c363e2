#include "tests/desktop/session/DesktopSession.h"

#include "tests/desktop/session/Waiting.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace desktop {
namespace {

template <typename Type>
using Reply = std::unique_ptr<Type, decltype(&std::free)>;
using Connection = std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>;

Connection connectTo(const std::string& display) {
    return {xcb_connect(display.c_str(), nullptr), &xcb_disconnect};
}

xcb_window_t rootOf(const Connection& connection) {
    return xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data->root;
}

} // namespace

DesktopSession::DesktopSession(ScreenSize screen)
    : screen_(screen) {
    parts_ = {&display_, &otherDisplay_, &windowManager_};
    startDisplay();
    startWindowManager();
}

DesktopSession::~DesktopSession() {
    endProcesses();
    parts_.clear();
    windowManager_.reset();
    otherDisplay_.reset();
    display_.reset();
}

// A server that begins anew whenever its last client goes would lose those who come meanwhile.
std::unique_ptr<Program> DesktopSession::startServer(std::vector<std::string> command,
                                                     const std::string& name) {
    const std::string screen = fmt::format("{}x{}x24", screen_.width, screen_.height);
    command.insert(command.end(),
                   {"-displayfd", "1", "-screen", "0", screen, "-nolisten", "tcp", "-noreset"});
    auto server = start(command, name);
    environment["DISPLAY"] = ":" + awaitLine(*server, "Xvfb");
    return server;
}

void DesktopSession::startDisplay() {
    display_ = startServer({"Xvfb"}, "display");
}

void DesktopSession::moveToAnotherDisplay() {
    otherDisplay_ = startServer({"Xvfb"}, "other-display");
}

void DesktopSession::startWindowManager() {
    windowManager_ = start({"openbox", "--sm-disable"}, "window-manager");
    const bool ready = eventually([this] {
        return ask({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK"}).find("window id") !=
               std::string::npos;
    });
    if (!ready) {
        throw std::runtime_error("openbox did not start: " + windowManager_->standardError());
    }
}

std::vector<std::string> DesktopSession::visibleWindows(const std::string& title) const {
    std::istringstream answer(
        ask({"xdotool", "search", "--onlyvisible", "--name", "^" + title + "$"}));
    std::vector<std::string> windows;
    for (std::string window; answer >> window;) {
        windows.push_back(window);
    }
    return windows;
}

std::optional<std::string> DesktopSession::visibleWindow(const std::string& title) const {
    const std::vector<std::string> windows = visibleWindows(title);
    return windows.empty() ? std::nullopt : std::optional(windows.front());
}

WindowGeometry DesktopSession::geometry(const std::string& window) const {
    std::istringstream answer(ask({"xdotool", "getwindowgeometry", "--shell", window}));
    std::map<std::string, int> values;
    for (std::string line; std::getline(answer, line);) {
        const std::size_t sign = line.find('=');
        if (sign != std::string::npos) {
            values[line.substr(0, sign)] = std::atoi(line.c_str() + sign + 1);
        }
    }
    return {
        .x = values["X"], .y = values["Y"], .width = values["WIDTH"], .height = values["HEIGHT"]};
}

// The window manager has one that is left of the screen.
std::vector<WindowGeometry> DesktopSession::popups() const {
    const Connection connection = connectTo(environment.at("DISPLAY"));
    const Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(connection.get(), xcb_query_tree(connection.get(), rootOf(connection)),
                             nullptr),
        &std::free);
    std::vector<WindowGeometry> found;
    for (int index = 0; tree && index < xcb_query_tree_children_length(tree.get()); ++index) {
        const xcb_window_t window = xcb_query_tree_children(tree.get())[index];
        const Reply<xcb_get_window_attributes_reply_t> looks(
            xcb_get_window_attributes_reply(
                connection.get(), xcb_get_window_attributes(connection.get(), window), nullptr),
            &std::free);
        const Reply<xcb_get_geometry_reply_t> place(
            xcb_get_geometry_reply(connection.get(), xcb_get_geometry(connection.get(), window),
                                   nullptr),
            &std::free);
        if (looks && place && looks->override_redirect != 0 &&
            looks->map_state == XCB_MAP_STATE_VIEWABLE &&
            looks->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT && place->x + place->width > 0) {
            found.push_back(
                {.x = place->x, .y = place->y, .width = place->width, .height = place->height});
        }
    }
    return found;
}

void DesktopSession::pressKey(const std::string& key) const {
    ask({"xdotool", "key", "--clearmodifiers", key});
}

void DesktopSession::type(const std::string& text) const {
    ask({"xdotool", "type", "--clearmodifiers", "--delay", "2", text});
}

void DesktopSession::click(int x, int y) const {
    ask({"xdotool", "mousemove", std::to_string(x), std::to_string(y), "click", "1"});
}

void DesktopSession::movePointer(int x, int y) const {
    ask({"xdotool", "mousemove", std::to_string(x), std::to_string(y)});
}

void DesktopSession::focus(const std::string& window) const {
    ask({"xdotool", "windowactivate", "--sync", window});
}

void DesktopSession::click(const std::string& window, int x, int y, int button) const {
    ask({"xdotool", "mousemove", "--window", window, std::to_string(x), std::to_string(y), "click",
         std::to_string(button)});
}

void DesktopSession::resize(const std::string& window, int width, int height) const {
    ask({"xdotool", "windowsize", window, std::to_string(width), std::to_string(height)});
}

void DesktopSession::close(const std::string& window) const {
    focus(window); // from then on the window manager knows the window
    const Connection connection = connectTo(environment.at("DISPLAY"));
    constexpr std::string_view name = "_NET_CLOSE_WINDOW";
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
        xcb_intern_atom_reply(connection.get(),
                              xcb_intern_atom(connection.get(), 0, name.size(), name.data()),
                              nullptr),
        &std::free);
    if (!atom) {
        throw std::runtime_error("cannot reach the display " + environment.at("DISPLAY"));
    }
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = static_cast<xcb_window_t>(std::stoul(window));
    message.type = atom->atom;
    xcb_send_event(connection.get(), 0, rootOf(connection),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    // An answer says that the server has seen the message; it may drop what a closed connection
    // still holds.
    const std::unique_ptr<xcb_get_input_focus_reply_t, decltype(&std::free)> seen(
        xcb_get_input_focus_reply(connection.get(), xcb_get_input_focus(connection.get()), nullptr),
        &std::free);
}

// import waits for a click when the window has just gone; and what an earlier one left is no
// picture of this window.
std::optional<Screenshot> DesktopSession::screenshot(const std::string& window) const {
    const std::filesystem::path file = folder() / "screenshot.ppm";
    std::filesystem::remove(file);
    ask({"timeout", "5", "import", "-silent", "-window", window, "-depth", "8", file.string()});
    return Screenshot::read(file);
}

std::optional<Screenshot> DesktopSession::screenshotOf(const WindowGeometry& area,
                                                       const std::string& window) const {
    const std::filesystem::path file = folder() / "screenshot.ppm";
    std::filesystem::remove(file);
    ask({"timeout", "5", "import", "-silent", "-window", window, "-crop",
         std::to_string(area.width) + "x" + std::to_string(area.height) + "+" +
             std::to_string(area.x) + "+" + std::to_string(area.y),
         "+repage", "-depth", "8", file.string()});
    return Screenshot::read(file);
}

void DesktopSession::keepEvidence(const std::filesystem::path& folder, std::string stem) const {
    std::ranges::replace(stem, '/', '-'); // as in the names of parameterised tests
    std::filesystem::create_directories(folder);
    ask({"import", "-silent", "-window", "root", (folder / (stem + ".png")).string()});
    keepOutput(folder, stem);
}

std::string DesktopSession::activeWindow() const {
    std::istringstream answer(ask({"xdotool", "getactivewindow"}));
    std::string window;
    answer >> window;
    return window;
}

// The number stays taken, so that no other test's display comes in the place of the one that died.
void DesktopSession::killDisplay() {
    display_->signal(SIGKILL);
    (void)display_->waitForExit(patience);
    // A bound socket that nobody listens at: refuses clients, and keeps the number from others.
    const std::string name = "/tmp/.X11-unix/X" + environment.at("DISPLAY").substr(1);
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    name.copy(&address.sun_path[1], sizeof address.sun_path - 2);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    displayNumber_.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::bind(displayNumber_.get(), reinterpret_cast<const struct sockaddr*>(&address), size) !=
        0) {
        throw std::system_error(errno, std::generic_category(), "cannot hold the display's number");
    }
}

void DesktopSession::restartDisplay() {
    displayNumber_.reset();
    display_ = startServer({"Xvfb", environment.at("DISPLAY")}, "display");
    startWindowManager();
}

} // namespace desktop
