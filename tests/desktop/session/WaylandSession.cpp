#include "tests/desktop/session/WaylandSession.h"

#include "tests/desktop/session/Waiting.h"

#include <boost/json/parse.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace desktop {
namespace {

constexpr const char* configuration = R"(xwayland disable
output HEADLESS-1 resolution 1600x1000 position 0 0 bg #204060 solid_color
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

void addWindows(const boost::json::value& tree, std::vector<WaylandWindow>& found) {
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
WaylandSession::WaylandSession() {
    parts_ = {&compositor_};
    const auto own = folder() / "compositor";
    std::filesystem::create_directory(own);
    std::filesystem::permissions(own, std::filesystem::perms::owner_all);
    const auto file = folder() / "sway.conf";
    std::ofstream(file) << configuration;

    std::vector<std::string> command = {"env",
                                        "HOME=" + own.string(),
                                        "XDG_RUNTIME_DIR=" + own.string(),
                                        "WLR_BACKENDS=headless",
                                        "WLR_LIBINPUT_NO_DEVICES=1",
                                        "WLR_RENDERER=pixman",
                                        "sway",
                                        "--config",
                                        file.string()};
    if (::geteuid() == 0) {
        constexpr uid_t nobody = 65534;
        const std::string id = std::to_string(nobody);
        command.insert(command.begin(),
                       {"setpriv", "--reuid", id, "--regid", id, "--clear-groups"});
        if (::chown(own.c_str(), nobody, nobody) != 0 || ::chmod(folder().c_str(), 0711) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot give sway a folder");
        }
    }
    environment["SWAYSOCK"] = (own / "sway.sock").string();
    compositor_ = start(command, "compositor");
    if (!eventually([&] { return isReady(own); })) {
        throw std::runtime_error("sway did not start: " + compositor_->standardError());
    }
}

bool WaylandSession::isReady(const std::filesystem::path& own) {
    for (const auto& entry : std::filesystem::directory_iterator(own)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_socket() && name.starts_with("wayland-") &&
            !environment.contains("WAYLAND_DISPLAY")) {
            std::filesystem::create_symlink(
                entry.path(), std::filesystem::path(environment.at("XDG_RUNTIME_DIR")) / name);
            environment["WAYLAND_DISPLAY"] = name;
        }
    }
    return environment.contains("WAYLAND_DISPLAY") &&
           ask({"swaymsg", "--type", "get_outputs"}).find("HEADLESS-1") != std::string::npos;
}

WaylandSession::~WaylandSession() {
    endProcesses();
    parts_.clear();
    compositor_.reset();
}

std::vector<WaylandWindow> WaylandSession::windows() const {
    std::vector<WaylandWindow> found;
    boost::json::error_code failed;
    const auto tree = boost::json::parse(ask({"swaymsg", "--raw", "--type", "get_tree"}), failed);
    if (!failed) {
        addWindows(tree, found);
    }
    return found;
}

std::optional<WaylandWindow> WaylandSession::window(const std::string& title) const {
    for (WaylandWindow& window : windows()) {
        if (window.title == title) {
            return std::move(window);
        }
    }
    return std::nullopt;
}

void WaylandSession::command(const std::string& text) const {
    ask({"swaymsg", text});
}

std::string WaylandSession::clipboard() const {
    return ask({"wl-paste", "--no-newline"});
}

std::optional<Screenshot> WaylandSession::screenshot() const {
    const auto file = folder() / "screenshot.ppm";
    ask({"grim", "-t", "ppm", file.string()});
    return Screenshot::read(file);
}

void WaylandSession::keepEvidence(const std::filesystem::path& folder,
                                  const std::string& stem) const {
    std::filesystem::create_directories(folder);
    ask({"grim", (folder / (stem + ".png")).string()});
    keepOutput(folder, stem);
}

} // namespace desktop
