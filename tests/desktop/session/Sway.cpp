#include "tests/desktop/session/Sway.h"

#include "tests/desktop/session/ActivationToken.h"
#include "tests/desktop/session/Waiting.h"

#include <boost/json/parse.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace desktop {
namespace {

// Smaller than the X server's screen, less its window's frame.
constexpr const char* configuration = R"(xwayland disable
output X11-1 resolution 1400x900
default_border none
default_floating_border none
focus_on_window_activation focus
focus_follows_mouse no
for_window [app_id=".*"] floating enable
)";

std::string textOf(const boost::json::object& node, const char* key) {
    const boost::json::value* const value = node.if_contains(key);
    return value != nullptr && value->is_string() ? std::string(value->as_string()) : std::string();
}

int numberOf(const boost::json::object& box, const char* key) {
    return static_cast<int>(box.at(key).as_int64());
}

void addWindows(const boost::json::value& tree, std::vector<SwayWindow>& found) {
    const boost::json::object& node = tree.as_object();
    if (!textOf(node, "app_id").empty()) {
        const boost::json::object& outer = node.at("rect").as_object();
        found.push_back({.applicationId = textOf(node, "app_id"),
                         .title = textOf(node, "name"),
                         .place = {.x = numberOf(outer, "x"),
                                   .y = numberOf(outer, "y"),
                                   .width = numberOf(outer, "width"),
                                   .height = numberOf(outer, "height")},
                         .focused = node.at("focused").as_bool()});
    }
    for (const char* below : {"nodes", "floating_nodes"}) {
        for (const boost::json::value& child : node.at(below).as_array()) {
            addWindows(child, found);
        }
    }
}

} // namespace

// sway refuses to run as root: there it gets a user, and a folder, of its own. Its clients find its
// socket where they look for it.
Sway::Sway(DesktopSession& session)
    : session_(session)
    , own_(session.folder() / "sway") {
    std::filesystem::create_directory(own_);
    std::filesystem::permissions(own_, std::filesystem::perms::owner_all);
    const auto file = own_ / "configuration";
    std::ofstream(file) << configuration;

    std::vector<std::string> command = {"env",
                                        "HOME=" + own_.string(),
                                        "XDG_RUNTIME_DIR=" + own_.string(),
                                        "WLR_BACKENDS=x11",
                                        "WLR_RENDERER=pixman",
                                        "sway",
                                        "--config",
                                        file.string()};
    if (::geteuid() == 0) {
        constexpr uid_t nobody = 65534;
        const std::string id = std::to_string(nobody);
        command.insert(command.begin(), {"setpriv", "--reuid", id, "--regid", id, "--clear-groups",
                                         "--pdeathsig", "KILL"});
        for (const auto& each : {own_, file}) {
            if (::chown(each.c_str(), nobody, nobody) != 0) {
                throw std::system_error(errno, std::generic_category(),
                                        "cannot give " + each.string());
            }
        }
        std::filesystem::permissions(session.folder(), std::filesystem::perms::others_exec,
                                     std::filesystem::perm_options::add);
    }
    session.environment["SWAYSOCK"] = (own_ / "sway.sock").string();
    program_ = session.start(command, "sway");
    if (!eventually([this] { return isReady(); })) {
        throw std::runtime_error("sway did not start: " + program_->standardError());
    }
    session.environment["GDK_BACKEND"] = "wayland";
}

bool Sway::isReady() {
    for (const auto& entry : std::filesystem::directory_iterator(own_)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_socket() && name.starts_with("wayland-") &&
            !session_.environment.contains("WAYLAND_DISPLAY")) {
            std::filesystem::create_symlink(
                entry.path(),
                std::filesystem::path(session_.environment.at("XDG_RUNTIME_DIR")) / name);
            session_.environment["WAYLAND_DISPLAY"] = name;
        }
    }
    if (!session_.environment.contains("WAYLAND_DISPLAY") ||
        session_.ask({"swaymsg", "--raw", "--type", "get_outputs"}).empty()) {
        return false;
    }
    // The only window that the X server's window manager knows.
    const std::string list = session_.ask({"xprop", "-root", "_NET_CLIENT_LIST"});
    const std::size_t id = list.find("0x");
    screen_ = id == std::string::npos ? "" : list.substr(id, list.find_first_of(",\n", id) - id);
    return !screen_.empty() && session_.geometry(screen_).width == 1400;
}

std::vector<SwayWindow> Sway::windows() const {
    std::vector<SwayWindow> found;
    boost::json::error_code failed;
    const auto tree =
        boost::json::parse(session_.ask({"swaymsg", "--raw", "--type", "get_tree"}), failed);
    if (!failed) {
        addWindows(tree, found);
    }
    return found;
}

std::optional<SwayWindow> Sway::window(const std::string& title) const {
    for (SwayWindow& window : windows()) {
        if (window.title == title) {
            return std::move(window);
        }
    }
    return std::nullopt;
}

bool Sway::hasTheFocus(const std::string& title) const {
    const auto found = window(title);
    return found && found->focused;
}

void Sway::command(const std::string& text) const {
    session_.ask({"swaymsg", text});
}

std::string Sway::clipboard() const {
    return session_.ask({"timeout", "5", "wl-paste", "--no-newline"});
}

// It gives one to each program that it starts; before its release 1.8 to whoever asks.
std::string Sway::activationToken() const {
    const auto file = own_ / "token";
    std::filesystem::remove(file);
    command("exec printf '%s.' \"$XDG_ACTIVATION_TOKEN\" >" + file.string());
    std::string token;
    (void)eventually([&] {
        token = readFile(file);
        return token.ends_with('.');
    });
    token.resize(token.size() - (token.empty() ? 0 : 1));
    return token.empty() ? askForActivationToken(own_ / session_.environment.at("WAYLAND_DISPLAY"))
                         : token;
}

std::optional<Screenshot> Sway::screenshot(const std::optional<Box>& part) const {
    if (!part) {
        return session_.screenshot(screen_);
    }
    return session_.screenshotOf(
        {.x = part->x, .y = part->y, .width = part->width, .height = part->height}, screen_);
}

void Sway::click(int x, int y) const {
    session_.click(screen_, x, y);
}

} // namespace desktop
